// Calls methods of file objects in tests, in a directory of their own.
#pragma once

#include "builtins/files/file_methods.h"
#include "builtins/test_call.h"
#include "engine/operations/assignment.h"
#include "platform/environment.h"

#include <algorithm>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace kestrel::test {

class FileTest : public BuiltinTest {
protected:
    FileTest() {
        std::filesystem::create_directories(directory);
        object.name = "f";
        object.type = FileObj;
    }
    ~FileTest() override { std::filesystem::remove_all(directory); }

    [[nodiscard]] std::string path(const std::string& name = "t.txt") const {
        return (directory / name).string();
    }
    void put(const std::string& bytes, const std::string& name = "t.txt") const {
        std::ofstream(path(name), std::ios::binary) << bytes;
    }
    [[nodiscard]] std::string bytes(const std::string& name = "t.txt") const {
        std::ifstream in(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    /// Makes `f` a file, as an assignment of what File() yields does, if it yields one.
    bool open(const std::string& file, const char* mode) {
        builtins::FileRecord* record = builtins::openScriptFile(ctx, file, mode);
        if (record == nullptr) return false;
        assignVariable(ctx, object, builtins::fileCell(*record));
        return true;
    }
    /// The object with a file of this content, opened in this mode.
    void openWith(const std::string& content, const char* mode) {
        put(content);
        ASSERT_TRUE(open(path(), mode));
    }

    /// Calls a method of `f`.
    /// @return what it leaves, as call() shows it
    std::string method(const char* name, const Cells& args = {}) {
        Variable methodName;
        methodName.name = name;
        CodeNode node;
        node.argc = static_cast<int>(args.size());
        node.operand.variable = &methodName;
        node.name = kinds.table.names().find(name);
        return leftBy(name, args, [&] { files.callMethod(ctx, object, node); });
    }

    /// Calls methods of `f` one after the other: "read('x', 2i) 'left'; eof 0i; nl(-1) ;" in the notation of
    /// call().
    void expectCalls(std::string_view steps) {
        const std::size_t messages = shown.size();
        while (!steps.empty()) {
            const std::string_view step = steps.substr(0, steps.find(';'));
            steps.remove_prefix(std::min(step.size() + 1, steps.size()));
            std::string_view rest = step.substr(std::min(step.find_first_not_of(" \n"), step.size()));
            const std::string name(rest.substr(0, rest.find_first_of("( ")));
            rest.remove_prefix(name.size());
            std::deque<std::string> texts;
            Cells args;
            if (rest.starts_with('(')) {
                const std::size_t end = rest.find(") ");
                ASSERT_NE(end, std::string_view::npos) << step;
                args = cells(rest.substr(1, end - 1), texts);
                rest.remove_prefix(end + 1);
            }
            EXPECT_EQ(method(name.c_str(), args), rest.substr(std::min<std::size_t>(1, rest.size()))) << step;
            EXPECT_EQ(shown.size(), messages) << step;
        }
    }

    static Cells cells(std::string_view list, std::deque<std::string>& texts) {
        Cells made;
        while (!list.empty()) {
            const bool text = list.front() == '\'';
            const std::size_t end = text ? list.find('\'', 1) + 1 : std::min(list.find(','), list.size());
            texts.emplace_back(list.substr(text ? 1 : 0, text ? end - 2 : end));
            const std::string& item = texts.back();
            if (text)
                made.push_back(S(item.c_str()));
            else if (item == "nil")
                made.push_back(nil());
            else
                made.push_back(item.ends_with('i') ? I(std::stod(item)) : N(std::stod(item)));
            list.remove_prefix(std::min(end, list.size()));
            list.remove_prefix(std::min(list.find_first_not_of(", "), list.size()));
        }
        return made;
    }

    std::filesystem::path directory = std::filesystem::temp_directory_path() /
                                      ("kestrel_file_test." + std::to_string(platform::processId()));
    Variable object;
};

}  // namespace kestrel::test
