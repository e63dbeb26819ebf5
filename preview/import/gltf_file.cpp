#include "preview/import/gltf_file.h"

#include "preview/import/import_error.h"
#include "preview/import/input_file.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

namespace kestrel::preview {

namespace {

static_assert(std::endian::native == std::endian::little, "glTF buffers are read as they lie in the file");

constexpr int kByte = 5120;
constexpr int kUnsignedByte = 5121;
constexpr int kShort = 5122;
constexpr int kUnsignedShort = 5123;
constexpr int kUnsignedInt = 5125;
constexpr int kFloat = 5126;

constexpr std::uint32_t kJsonChunk = 0x4E4F534A;
constexpr std::uint32_t kBinaryChunk = 0x004E4942;

/// Elements of an accessor that has no data of its own: all 0 but for the sparse ones.
constexpr std::size_t kMostZeros = 1'000'000;

template <class T>
T load(std::string_view bytes, std::size_t at) {
    T value;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

template <class T>
double whole(const char* bytes, bool normalized) {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    const auto number = static_cast<double>(value);
    return normalized ? std::max(-1.0, number / static_cast<double>(std::numeric_limits<T>::max())) : number;
}

double component(const char* bytes, int type, bool normalized) {
    switch (type) {
        case kByte:
            return whole<std::int8_t>(bytes, normalized);
        case kUnsignedByte:
            return whole<std::uint8_t>(bytes, normalized);
        case kShort:
            return whole<std::int16_t>(bytes, normalized);
        case kUnsignedShort:
            return whole<std::uint16_t>(bytes, normalized);
        case kUnsignedInt:
            return whole<std::uint32_t>(bytes, normalized);
        default: {
            float value = 0.0F;
            std::memcpy(&value, bytes, sizeof value);
            return static_cast<double>(value);
        }
    }
}

std::size_t sizeOfComponent(const JsonValue& type) {
    switch (type.integer(0, 10000)) {
        case kByte:
        case kUnsignedByte:
            return 1;
        case kShort:
        case kUnsignedShort:
            return 2;
        case kUnsignedInt:
        case kFloat:
            return 4;
        default:
            type.fail("is no type of numbers");
    }
}

std::size_t componentsOf(std::string_view type) {
    if (type == "SCALAR") return 1;
    if (type == "VEC3") return 3;
    return type == "MAT4" ? 16 : 4;
}

}  // namespace

GltfFile::GltfFile(const std::string& nativePath) : bytes_(readBytes(nativePath)) {
    if (bytes_.starts_with("glTF")) {
        readContainer(nativePath);
    } else {
        document_ = std::make_unique<JsonDocument>(nativePath, bytes_);
        release(bytes_);
    }
    const JsonValue version = root().require("asset").require("version");
    if (!version.text().starts_with("2.")) version.fail("only glTF 2 can be read");
    std::size_t number = 0;
    root().forEach("buffers", [&](const JsonValue& buffer) { readBuffer(buffer, number++); });
}

void GltfFile::readContainer(const std::string& nativePath) {
    const std::string_view all = bytes_;
    const auto broken = [&](const char* sentence) { throw ImportError(nativePath, "", sentence); };
    if (all.size() < 12) broken("is cut off in its header");
    if (load<std::uint32_t>(all, 4) != 2) broken("only version 2 of the binary form can be read");
    if (load<std::uint32_t>(all, 8) > all.size()) broken("is shorter than its header says");
    std::string_view json;
    std::size_t at = 12;
    while (at < all.size()) {
        if (all.size() - at < 8) broken("is cut off between its chunks");
        const std::size_t length = load<std::uint32_t>(all, at);
        const auto type = load<std::uint32_t>(all, at + 4);
        at += 8;
        if (length > all.size() - at) broken("is cut off inside a chunk");
        if (type == kJsonChunk && json.empty()) json = all.substr(at, length);
        if (type == kBinaryChunk && binary_.empty()) binary_ = all.substr(at, length);
        at += length;
    }
    document_ = std::make_unique<JsonDocument>(nativePath, json);
}

void GltfFile::readBuffer(const JsonValue& buffer, std::size_t number) {
    const auto length = static_cast<std::size_t>(
        buffer.require("byteLength").integer(0, static_cast<std::int64_t>(ImportLimits::kFileBytes)));
    const std::optional<JsonValue> uri = buffer.find("uri");
    std::string_view bytes = binary_;
    if (uri) {
        bytes = *storage_.emplace_back(std::make_unique<std::string>(bytesOf(*uri)));
        bufferBytes_ += bytes.size();
        if (bufferBytes_ > ImportLimits::kFileBytes)
            uri->fail("all buffers together are larger than 512 MiB");
    } else if (number != 0) {
        bytes = {};
    }
    if (bytes.size() < length) {
        buffer.fail("says that it has " + std::to_string(length) + " bytes, but there are " +
                    std::to_string(bytes.size()));
    }
    buffers_.push_back(bytes.substr(0, length));
}

std::string GltfFile::bytesOf(const JsonValue& uri) const {
    const std::string& text = uri.text();
    if (text.starts_with("data:")) {
        const std::size_t comma = text.find(',');
        if (comma == std::string::npos || !std::string_view(text).substr(0, comma).ends_with(";base64")) {
            uri.fail("a data URI must be base64");
        }
        std::optional<std::string> bytes = decodeBase64(std::string_view(text).substr(comma + 1));
        if (!bytes) uri.fail("is not base64");
        return std::move(*bytes);
    }
    const std::optional<std::string> path = decodePercent(text);
    if (!path || !staysInside(*path)) uri.fail("must be the name of a file beside this one");
    return readBytes(pathBeside(uri.file(), *path));
}

JsonValue GltfFile::element(std::string_view list, const JsonValue& reference) const {
    const std::optional<JsonValue> elements = root().find(list);
    const std::size_t size = elements ? elements->size() : 0;
    const std::int64_t place = reference.integer(-1, std::int64_t{1} << 40);
    if (place < 0 || static_cast<std::uint64_t>(place) >= size) {
        reference.fail("there is no element " + std::to_string(place) + " in /" + std::string(list));
    }
    return elements->at(static_cast<std::size_t>(place));
}

std::size_t GltfFile::count(const JsonValue& reference) const {
    const JsonValue accessor = element("accessors", reference);
    return static_cast<std::size_t>(accessor.require("count").integer(0, std::int64_t{1} << 40));
}

GltfFile::Layout GltfFile::layout(const JsonValue& accessor, std::string_view type) const {
    const JsonValue written = accessor.require("type");
    if (written.text() != type) written.fail("must be " + std::string(type) + " for what it is used for");
    const JsonValue component = accessor.require("componentType");
    const Layout form{static_cast<std::size_t>(accessor.require("count").integer(0, std::int64_t{1} << 40)),
                      componentsOf(type), static_cast<int>(component.integer(0, 10000)),
                      sizeOfComponent(component), accessor.booleanOr("normalized", false)};
    if (accessor.find("bufferView")) {
        (void)view(accessor, form.count, form.components * form.componentSize);
    } else if (form.count > kMostZeros) {
        accessor.fail("has no buffer view and too many elements");
    }
    return form;
}

GltfFile::Span GltfFile::view(const JsonValue& holder, std::size_t count, std::size_t elementSize) const {
    constexpr std::int64_t kMost = std::int64_t{1} << 40;
    const JsonValue bufferView = element("bufferViews", holder.require("bufferView"));
    const JsonValue reference = bufferView.require("buffer");
    (void)element("buffers", reference);
    const std::string_view buffer = buffers_[static_cast<std::size_t>(reference.integer(0, kMost))];
    const auto from = static_cast<std::size_t>(bufferView.integerOr("byteOffset", 0, kMost, 0));
    const auto length = static_cast<std::size_t>(bufferView.require("byteLength").integer(0, kMost));
    if (from > buffer.size() || length > buffer.size() - from) bufferView.fail("reaches beyond its buffer");
    const auto offset = static_cast<std::size_t>(holder.integerOr("byteOffset", 0, kMost, 0));
    const auto stride = static_cast<std::size_t>(
        bufferView.integerOr("byteStride", 1, 255, static_cast<std::int64_t>(elementSize)));
    if (stride < elementSize) bufferView.fail("has a stride that is smaller than what is read from it");
    // No product can overflow: count is below 2^40 and the stride below 2^8.
    const std::size_t needed = count == 0 ? 0 : offset + (count - 1) * stride + elementSize;
    if (needed > length) holder.fail("reaches beyond its buffer view");
    return {buffer.substr(from, length).substr(std::min(offset, length)), stride};
}

std::vector<std::size_t> GltfFile::sparsePlaces(const JsonValue& sparse, std::size_t count) const {
    const auto places = static_cast<std::size_t>(sparse.require("count").integer(0, std::int64_t{1} << 40));
    const JsonValue indices = sparse.require("indices");
    const std::size_t size = sizeOfComponent(indices.require("componentType"));
    const auto type = static_cast<int>(indices.require("componentType").integer(0, 10000));
    const Span span = view(indices, places, size);
    std::vector<std::size_t> result;
    result.reserve(places);
    for (std::size_t i = 0; i < places; ++i) {
        const double place = component(span.bytes.data() + i * span.stride, type, false);
        if (!(place >= 0.0 && place < static_cast<double>(count))) indices.fail("a place is out of range");
        result.push_back(static_cast<std::size_t>(place));
    }
    return result;
}

template <class Store>
void GltfFile::visit(const JsonValue& accessor, const Layout& layout, const Store& store) const {
    const std::size_t elementSize = layout.components * layout.componentSize;
    const auto visitElement = [&](std::size_t place, const char* bytes) {
        for (std::size_t c = 0; c < layout.components; ++c) {
            store(place * layout.components + c, bytes + c * layout.componentSize);
        }
    };
    if (accessor.find("bufferView")) {
        const Span span = view(accessor, layout.count, elementSize);
        for (std::size_t i = 0; i < layout.count; ++i) visitElement(i, span.bytes.data() + i * span.stride);
    }
    const std::optional<JsonValue> sparse = accessor.find("sparse");
    if (!sparse) return;
    const std::vector<std::size_t> places = sparsePlaces(*sparse, layout.count);
    const Span values = view(sparse->require("values"), places.size(), elementSize);
    for (std::size_t i = 0; i < places.size(); ++i) {
        visitElement(places[i], values.bytes.data() + i * values.stride);
    }
}

std::vector<float> GltfFile::numbers(const JsonValue& reference, std::string_view type) const {
    const JsonValue accessor = element("accessors", reference);
    const Layout form = layout(accessor, type);
    std::vector<float> result(form.count * form.components);
    visit(accessor, form, [&](std::size_t place, const char* bytes) {
        const double value = component(bytes, form.componentType, form.normalized);
        if (!std::isfinite(value)) accessor.fail("holds a number that is not finite");
        result[place] = static_cast<float>(value);
    });
    return result;
}

std::vector<std::uint32_t> GltfFile::integers(const JsonValue& reference, std::string_view type) const {
    const JsonValue accessor = element("accessors", reference);
    const Layout form = layout(accessor, type);
    std::vector<std::uint32_t> result(form.count * form.components);
    visit(accessor, form, [&](std::size_t place, const char* bytes) {
        const double value = component(bytes, form.componentType, false);
        // Joints are bytes or shorts; some files write them as floats all the same.
        if (!(value >= 0.0 && value <= 4294967295.0)) accessor.fail("holds a number that is no place");
        result[place] = static_cast<std::uint32_t>(value);
    });
    return result;
}

}  // namespace kestrel::preview
