// JSON texts, read with a place for everything that is wrong with them.
#pragma once

#include "preview/math/vec.h"

#include <cstdint>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel::preview {

/// A parsed file. Depth and number of its values are bounded before anything is made of them; the same key
/// twice in an object is an error.
class JsonDocument {
public:
    /// Throws ImportError with line and column when the text is not JSON.
    JsonDocument(std::string file, std::string_view text);

    [[nodiscard]] const std::string& file() const noexcept { return file_; }
    [[nodiscard]] const nlohmann::json& root() const noexcept { return root_; }
    /// Throws ImportError with the place of a value of this document as a JSON pointer.
    [[noreturn]] void fail(const nlohmann::json& value, const std::string& sentence) const;

private:
    std::string file_;
    nlohmann::json root_;
};

/// A value of a document; reading it as what it is not throws ImportError. The document outlives it.
class JsonValue {
public:
    explicit JsonValue(const JsonDocument& document) : JsonValue(document, document.root()) {}
    JsonValue(const JsonDocument& document, const nlohmann::json& json)
        : document_(&document), json_(&json) {}

    [[nodiscard]] bool isObject() const { return json_->is_object(); }
    [[nodiscard]] bool isArray() const { return json_->is_array(); }
    [[nodiscard]] bool isString() const { return json_->is_string(); }
    [[nodiscard]] bool isNull() const { return json_->is_null(); }
    [[nodiscard]] const nlohmann::json& json() const noexcept { return *json_; }
    [[nodiscard]] const std::string& file() const noexcept { return document_->file(); }

    /// Refuses keys of an object that are not listed.
    void allows(std::initializer_list<std::string_view> keys) const;
    /// Nothing when the object has no such key.
    [[nodiscard]] std::optional<JsonValue> find(std::string_view key) const;
    [[nodiscard]] JsonValue require(std::string_view key) const;
    /// The number of elements of an array.
    [[nodiscard]] std::size_t size() const;
    [[nodiscard]] JsonValue at(std::size_t index) const;

    /// Finite.
    [[nodiscard]] double number() const;
    [[nodiscard]] double number(double least, double most) const;
    [[nodiscard]] std::int64_t integer(std::int64_t least, std::int64_t most) const;
    [[nodiscard]] bool boolean() const;
    /// Without zero characters.
    [[nodiscard]] const std::string& text() const;
    [[nodiscard]] Vec3 vector() const;
    /// The place of a text in a list of texts.
    [[nodiscard]] std::size_t oneOf(std::initializer_list<std::string_view> words) const;

    [[nodiscard]] double numberOr(std::string_view key, double otherwise) const;
    [[nodiscard]] std::int64_t integerOr(std::string_view key, std::int64_t least, std::int64_t most,
                                         std::int64_t otherwise) const;
    [[nodiscard]] bool booleanOr(std::string_view key, bool otherwise) const;
    [[nodiscard]] std::string textOr(std::string_view key, const std::string& otherwise) const;

    /// Calls `visit(element)` for each element of the array under a key, if there is one.
    template <class Visit>
    void forEach(std::string_view key, const Visit& visit) const {
        const std::optional<JsonValue> list = find(key);
        if (!list) return;
        for (std::size_t i = 0; i < list->size(); ++i) visit(list->at(i));
    }

    [[noreturn]] void fail(const std::string& sentence) const { document_->fail(*json_, sentence); }

private:
    const JsonDocument* document_;
    const nlohmann::json* json_;
};

}  // namespace kestrel::preview
