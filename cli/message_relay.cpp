#include "cli/message_relay.h"

#include <charconv>
#include <vector>

namespace kestrel::cli {

namespace {

// Fields end with a tab; a backslash leads a byte that would be taken for an end.
constexpr char kEnd = '\t';

void putText(std::string& out, std::string_view text) {
    for (const char c : text) {
        if (c == '\n')
            out += "\\n";
        else if (c == kEnd)
            out += "\\t";
        else if (c == '\\')
            out += "\\\\";
        else
            out += c;
    }
    out += kEnd;
}

void putNumber(std::string& out, int number) {
    putText(out, std::to_string(number));
}

void putPlace(std::string& out, const Place& place) {
    putText(out, place.file);
    for (const int number : {place.line, place.column, place.endColumn}) putNumber(out, number);
}

std::vector<std::string> fieldsOf(std::string_view line) {
    std::vector<std::string> fields(1);
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == kEnd) {
            fields.emplace_back();
        } else if (line[i] == '\\' && i + 1 < line.size()) {
            const char c = line[++i];
            fields.back() += c == 'n' ? '\n' : c == 't' ? kEnd : c;
        } else {
            fields.back() += line[i];
        }
    }
    fields.pop_back();  // what follows the last end
    return fields;
}

int numberOf(const std::string& field) {
    int number = 0;
    std::from_chars(field.data(), field.data() + field.size(), number);
    return number;
}

constexpr std::size_t kPlaceFields = 4;

Place takePlace(const std::vector<std::string>& fields, std::size_t at) {
    return {fields[at], numberOf(fields[at + 1]), numberOf(fields[at + 2]), numberOf(fields[at + 3]), {}};
}

constexpr std::size_t kFixedFields = 6;

}  // namespace

std::string packMessage(const ShownMessage& message) {
    std::string line;
    putNumber(line, static_cast<int>(message.kind));
    putText(line, message.id);
    putText(line, message.rule);
    putText(line, message.line1);
    putNumber(line, message.line2 ? 1 : 0);
    putText(line, message.line2.value_or(std::string()));
    putPlace(line, message.place);
    for (const Place& outer : message.place.broughtInBy) putPlace(line, outer);
    return line;
}

std::optional<ShownMessage> unpackMessage(std::string_view line) {
    const std::vector<std::string> fields = fieldsOf(line);
    if (fields.size() < kFixedFields + kPlaceFields || (fields.size() - kFixedFields) % kPlaceFields != 0)
        return std::nullopt;
    const int kind = numberOf(fields[0]);
    if (kind < 0 || kind > static_cast<int>(ShownMessage::Kind::Hint)) return std::nullopt;
    ShownMessage message;
    message.kind = static_cast<ShownMessage::Kind>(kind);
    message.id = fields[1];
    message.rule = fields[2];
    message.line1 = fields[3];
    if (fields[4] == "1") message.line2 = fields[5];
    message.place = takePlace(fields, kFixedFields);
    for (std::size_t at = kFixedFields + kPlaceFields; at < fields.size(); at += kPlaceFields)
        message.place.broughtInBy.push_back(takePlace(fields, at));
    return message;
}

}  // namespace kestrel::cli
