// The container of a glTF file: its JSON, its buffers, and the numbers in them.
#pragma once

#include "preview/import/json_document.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::preview {

/// A .gltf or .glb file with all its buffers. Nothing is taken from a buffer that is not there, and nothing
/// is allocated that the buffers do not hold. Failures throw ImportError.
class GltfFile {
public:
    explicit GltfFile(const std::string& nativePath);

    [[nodiscard]] JsonValue root() const { return JsonValue(*document_); }
    /// The element of a list of the root that `reference` gives the place of.
    [[nodiscard]] JsonValue element(std::string_view list, const JsonValue& reference) const;
    /// How many elements an accessor has.
    [[nodiscard]] std::size_t count(const JsonValue& reference) const;
    /// The numbers of an accessor of a type such as "VEC3", one element after the other; normalized integers
    /// are brought into -1..1. All are finite.
    [[nodiscard]] std::vector<float> numbers(const JsonValue& reference, std::string_view type) const;
    /// The whole numbers of an accessor of a type.
    [[nodiscard]] std::vector<std::uint32_t> integers(const JsonValue& reference,
                                                      std::string_view type) const;

private:
    struct Layout {
        std::size_t count;
        std::size_t components;
        int componentType;
        std::size_t componentSize;
        bool normalized;
    };
    struct Span {
        std::string_view bytes;
        std::size_t stride;
    };
    struct Sparse {
        std::vector<std::size_t> places;
        Span values;
    };

    void readContainer(const std::string& nativePath);
    void readBuffer(const JsonValue& buffer, std::size_t number);
    [[nodiscard]] std::string bytesOf(const JsonValue& uri) const;
    /// Throws when the buffers do not hold what the accessor says.
    [[nodiscard]] Layout layout(const JsonValue& accessor, std::string_view type) const;
    [[nodiscard]] Span view(const JsonValue& holder, std::size_t count, std::size_t elementSize) const;
    [[nodiscard]] std::vector<std::size_t> sparsePlaces(const JsonValue& sparse, std::size_t count) const;
    /// Calls `store(place, bytes of a component)` for all that the accessor holds; what is not stored is 0.
    template <class Store>
    void visit(const JsonValue& accessor, const Layout& layout, const Store& store) const;

    std::unique_ptr<JsonDocument> document_;
    std::string bytes_;
    std::string_view binary_;  // the chunk of a .glb
    std::vector<std::unique_ptr<std::string>> storage_;
    std::vector<std::string_view> buffers_;
    std::size_t bufferBytes_ = 0;
};

}  // namespace kestrel::preview
