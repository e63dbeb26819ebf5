// A text as lines of words with numbers, as OBJ and MTL files are.
#pragma once

#include "preview/import/import_error.h"

#include <charconv>
#include <cmath>
#include <string>
#include <string_view>

namespace kestrel::preview {

class TextLines {
public:
    /// Both outlive it.
    TextLines(const std::string& file, std::string_view text) : file_(file), rest_(text) {}

    /// Goes to the next line; one that ends with "\" goes on in the next. @return false at the end
    bool next() {
        if (rest_.empty()) return false;
        line_ = takeLine();
        if (line_.empty() || line_.back() != '\\') return true;
        joined_.clear();
        while (!line_.empty() && line_.back() == '\\') {
            joined_.append(line_.substr(0, line_.size() - 1)).append(" ");
            line_ = takeLine();
        }
        joined_.append(line_);
        line_ = joined_;
        return true;
    }

    /// The next word of the line; empty when there is none. "#" begins a comment.
    std::string_view word() {
        const std::size_t from = line_.find_first_not_of(" \t");
        if (from == std::string_view::npos || line_[from] == '#') return line_ = {};
        line_.remove_prefix(from);
        const std::string_view found = line_.substr(0, line_.find_first_of(" \t"));
        line_.remove_prefix(found.size());
        return found;
    }
    /// The rest of the line without blanks around it: a name.
    std::string_view name() {
        const std::size_t from = line_.find_first_not_of(" \t");
        if (from == std::string_view::npos) return {};
        return line_.substr(from, line_.find_last_not_of(" \t") + 1 - from);
    }
    double number() {
        std::string_view text = word();
        if (text.empty()) fail("a number is missing");
        if (text.front() == '+') text.remove_prefix(1);
        double value = 0.0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (end != text.data() + text.size() || error != std::errc() || !std::isfinite(value)) {
            fail("\"" + std::string(text.substr(0, 40)) + "\" is no number that can be used");
        }
        return value;
    }
    [[noreturn]] void fail(const std::string& sentence) const {
        throw ImportError(file_, std::to_string(number_), sentence);
    }

private:
    std::string_view takeLine() {
        ++number_;
        const std::size_t end = rest_.find('\n');
        std::string_view line = rest_.substr(0, end);
        rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        return line;
    }

    const std::string& file_;
    std::string_view rest_;
    std::string_view line_;
    std::string joined_;
    std::size_t number_ = 0;
};

}  // namespace kestrel::preview
