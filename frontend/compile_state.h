// One compile in progress: all its state, and the actions of the grammar.
#pragma once

#include "engine/context/context.h"
#include "engine/program/program.h"
#include "frontend/compiler.h"
#include "frontend/parser.h"
#include "frontend/scanner.h"
#include "frontend/syntax_advice.h"
#include "frontend/token.h"

#include <cstdint>
#include <limits>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace kestrel {

/// What is being parsed; symlook creates parameters instead of locals inside a parameter list.
enum class ParsePhase { Before = -1, ProgramLevel = 2, ProcedureBody = 4, ParameterList = 5 };

inline constexpr std::size_t kLibraryLimit = 20;

class Compiler {
public:
    Compiler(EngineContext& context, const CompileOptions& options);

    /// driver.cpp: the whole compile. @return what compileScript returns
    int compile(std::string_view path);
    [[nodiscard]] bool aborted() const noexcept { return ctx_.run.abort; }

    // --- diagnostics.cpp ---

    /// Reports a message about the source at a place; an error is counted. Silent while the parser recovers.
    template <class... Args>
    void report(const SourcePos& where, MessageFor<Args...> message, const Args&... args) {
        reportSource(where, message.id(), {FormatArg(args)...});
    }
    /// Reports and counts what would keep the compile busy for ever, and ends it.
    template <class... Args>
    void reportEndless(const SourcePos& where, MessageFor<Args...> message, const Args&... args) {
        reportFile(where, message.id(), {FormatArg(args)...});
        endInput();
    }
    /// Beside the message of a syntax error.
    void adviseOnSyntaxError();
    /// A text goes on over the end of its line.
    void adviseOnOpenText(const SourcePos& where, bool lineIsCut) {
        syntaxAdvice_.openText(where, lineIsCut);
    }
    /// A // comment that ends where its line was cut.
    void adviseOnCutComment(const SourcePos& where) noexcept { syntaxAdvice_.cutComment(where); }
    /// What a text holds that went on over the end of a line.
    void keepLostNames(std::string_view text) {
        if (ctx_.reporter.hints != nullptr) syntaxAdvice_.keepLostNames(text);
    }
    /// Before the count of errors, which is the last word.
    void advise();
    /// The place of the token read last.
    [[nodiscard]] SourcePos lastPlace() const noexcept { return scanner_.token().pos; }
    [[nodiscard]] const CompileOptions& options() const noexcept { return options_; }

    // --- symbols.cpp ---

    /// Finds or creates the symbol of an identifier, as the parser's state says at this moment.
    /// @return null when memory is exhausted (reported)
    Variable* symlook(std::string_view name);
    /// Appends a function record. When memory is exhausted (reported) the last one is returned again.
    FunctionRecord* addfunc(const char* name);
    /// A node of the line at hand.
    [[nodiscard]] CodeNode nodeOf(std::int32_t op, const SourcePos& where) noexcept;
    /// Appends a node and makes it current. When memory is exhausted (reported) the current one stays.
    CodeNode* newCode(const CodeNode& filled);
    CodeNode* newCode(std::int32_t op, const SourcePos& where) { return newCode(nodeOf(op, where)); }
    void definePredefinedNames();

    // --- libraries.cpp ---

    /// @return false when the list is full
    bool pushLibrary(const char* name, const SourcePos& where);
    /// The scanner's hook at the end of a file: opens the next library in it.
    /// @return false when all input is done
    bool nextInputFile();

    // --- what the scanner keeps for everybody ---

    [[nodiscard]] std::int32_t& currentLine() noexcept { return ctx_.run.currentLine; }
    /// Markers can set any number; one that has reached the end stays there.
    void countLine() noexcept {
        if (currentLine() < std::numeric_limits<std::int32_t>::max()) ++currentLine();
    }
    void setLineText(std::string_view text) { lineText_.assign(text.substr(0, kLineTextLength)); }
    [[nodiscard]] const char* makeText(std::string_view text) { return program().makeText(text); }
    [[nodiscard]] bool watchRequested() const noexcept {
        return ctx_.services.watch != nullptr && ctx_.services.watch->requested != 0;
    }
    void abandon() noexcept { ctx_.run.abort = true; }

    // --- actions_declarations.cpp ---

    void beginProgram() noexcept { phase_ = ParsePhase::ProgramLevel; }
    void lineMarker(std::int32_t line) noexcept;
    void endGlobals(const SourcePos& where) { newCode(OP_ENDSTMT, where); }
    void beginGlobalValue(Variable* name, const SourcePos& where);
    void endGlobalValue(const SourcePos& where);
    void bareGlobal(const SourcePos& where);
    void declareLibrary(const char* name, const SourcePos& where);
    void beginUse(const char* library, Variable* name, const SourcePos& where);
    void useBase(Variable* name) noexcept { pendingUse_.base = name; }
    void endUse(const SourcePos& library, const SourcePos& base);
    void beginRecord(Variable* name, const SourcePos& where);
    void addField(Variable* name);
    void fieldText(const char* text);
    void fieldNumber(double value);
    void fieldInteger(std::int32_t value);
    void fieldVector(double x, double y, double z);
    void beginQueue() { queueVariables_.clear(); }
    void beginQueueItem() noexcept { emissionSuspended_ = true; }
    void endQueueItem(const SourcePos& where);
    void endQueue(Variable* name, const SourcePos& where);
    void beginProcedure(Variable* name, const SourcePos& where);
    void beginParameters();
    void endParameters();
    void endProcedure(const SourcePos& where);

    // --- actions_statements.cpp ---

    void simple(std::int32_t op, const SourcePos& where) { newCode(op, where); }
    void beginExpressionStatement() noexcept { statementToken_ = scanner_.token().number; }
    void beginVarList();
    void nextVarItem(const SourcePos& where);
    void beginVarItem();
    void endVarItem(const SourcePos& where);
    void endVarList(const SourcePos& where);
    void countItem();
    void beginReturn() { counters_.push_back(0); }
    void emptyReturnValue(const SourcePos& where);
    void endReturn(const SourcePos& where);
    void returnNothing(const SourcePos& where) { newCode(OP_RETURN, where)->count = 0; }
    void beginIf(const SourcePos& where);
    void endIf();
    void beginElse(const SourcePos& where);
    void endElse();
    void loopTop(const SourcePos& where);
    void beginWhile(const SourcePos& where);
    void endWhile();
    void beginDoWhile(const SourcePos& where);
    void endDoWhile(const SourcePos& where);
    void beginForHeader();
    void forTest(const SourcePos& where);
    void forStep(const SourcePos& where);
    void forBody(const SourcePos& where);
    void endFor();
    void beginCounted(Variable* name, const SourcePos& where);
    void countedTest(const SourcePos& where);
    void countedStep(const SourcePos& where);
    void stepByOne();
    void stepByNumber(double value, const SourcePos& where);
    void stepByInteger(std::int32_t value, const SourcePos& where);
    void stepByName(Variable* name, const SourcePos& where);
    void countedBody(const SourcePos& where) { newCode(OP_FORBODY, where); }
    void beginSwitch(const SourcePos& where) { openJump(OP_SWITCH, where); }
    void beginSelect(const SourcePos& where) { openJump(OP_SELECT, where); }
    void endSwitch(const SourcePos& where) { closeJump(OP_ENDSWITCH, where); }
    void caseLabel(const SourcePos& where) { newCode(OP_CASELABEL, where); }
    void caseInteger(std::int32_t value, const SourcePos& where);
    void caseNumber(double value, const SourcePos& where);
    void caseName(Variable* name, const SourcePos& where);
    void defaultCase(const SourcePos& where) { newCode(OP_DEFAULT, where); }
    void endCase(bool linked);
    void beginWhen(const SourcePos& where) { openArm(OP_WHEN, where); }
    void beginOtherwise(const SourcePos& where) { openArm(OP_OTHERWISE, where); }
    void endWhen(const SourcePos& where);

    // --- actions_expressions.cpp: these add to the expression buffer ---

    void beginExpression();
    void endExpression();
    CodeNode& add(std::int32_t op, const SourcePos& where);
    void addNumber(double value, const SourcePos& where) { add(OP_NUMBER, where).operand.number = value; }
    void addInteger(std::int32_t value, const SourcePos& where) {
        add(OP_INTEGER, where).operand.number = value;
    }
    void addText(const char* text, const SourcePos& where) { add(OP_STRING, where).operand.text = text; }
    void addName(Variable* symbol, std::uint8_t flags, const SourcePos& where);
    void addMember(std::int32_t op, Variable* owner, const SourcePos& where);
    void openParenthesis(const SourcePos& where);
    void closeParenthesis(const SourcePos& where);
    void openIndex(const SourcePos& operand);
    void closeIndex();
    void emptyIndex(const SourcePos& operand);
    void callWithoutArguments(const SourcePos& callee);
    void openCall(const SourcePos& callee);
    void closeCall();
    void emptyArgument(const SourcePos& where);
    void increment(std::int32_t op, const SourcePos& where);
    void beginConditional(const SourcePos& where);
    void endThenPart();
    void beginElsePart(const SourcePos& where);
    void endConditional();
    void assignmentTarget(bool makeConst, const SourcePos& target);
    void addPendingAssignment(const SourcePos& where) { add(pendingAssignment_, where); }
    void plainAssignment() noexcept;
    void compoundAssignment(std::int32_t op) noexcept { pendingAssignment_ = op; }
    void nextExpression(const SourcePos& where);

private:
    /// The longest line that messages quote.
    static constexpr std::size_t kLineTextLength = 499;

    /// A library declaration, and where it stands.
    struct Library {
        const char* name;
        SourcePos where;
    };

    /// A `use` declaration between its class name and its end.
    struct PendingUse {
        const char* library = nullptr;
        Variable* name = nullptr;
        Variable* base = nullptr;
    };

    [[nodiscard]] Program& program() noexcept { return *ctx_.program; }

    // driver.cpp
    void preprocessAndParse(std::string_view path);
    void parse();
    void giveUp();
    /// @return false when the error limit is exceeded
    bool checkUnresolved();
    void reportSummary();

    // diagnostics.cpp
    void reportSource(const SourcePos& where, MessageId id, FormatArgs args);
    void reportFile(const SourcePos& where, MessageId id, FormatArgs args);
    void endInput();

    // symbols.cpp
    template <class T, class... Args>
    T* tryMake(std::string_view function, const Args&... args);
    Variable* newSymbol(std::string_view name);
    Variable* addLocal(std::string_view name);
    Variable* addGlobal(std::string_view name);
    Variable* predefine(std::string_view name, std::int32_t type, std::uint8_t flags);

    // libraries.cpp
    void listUnresolvedCalls();
    [[nodiscard]] bool openLibrary(const Library& library);
    /// True when the file at a native path is among those that brought the library in.
    [[nodiscard]] bool bringsItselfIn(const Library& library, const std::string& path) const;
    void linkLibraryProcedure(const FunctionRecord& function);

    // actions_statements.cpp
    CodeNode* openJump(std::int32_t op, const SourcePos& where);
    void closeJump(std::int32_t op, const SourcePos& where);
    CodeNode* openArm(std::int32_t op, const SourcePos& where);
    void closeArm(std::int32_t op, const SourcePos& where);
    [[nodiscard]] bool inPhase(std::string_view statement);
    std::int32_t popCounter() noexcept;

    // actions_expressions.cpp
    [[nodiscard]] Variable* lastSymbol() noexcept;
    bool makeCall(const SourcePos& callee);
    void flushExpression();

    EngineContext& ctx_;
    CompileOptions options_;
    Scanner scanner_;
    Parser parser_;
    SyntaxAdvice syntaxAdvice_{ctx_.reporter};
    bool usesClasses_ = false;     // whether or not they were loaded
    bool libraryMissing_ = false;  // so a call that names no function may be right

    std::int32_t errorCount_ = 0;
    bool endless_ = false;  // reportEndless() has ended the compile
    std::string lineText_;  // the source line that messages quote
    std::string mainPath_;  // the script's own path, for the library search

    // Declarations
    ParsePhase phase_ = ParsePhase::Before;
    bool declaring_ = true;   // the next new name is a declaration
    bool assigning_ = false;  // the value of an assignment is read: no declaration
    FunctionRecord* currentFunction_ = nullptr;
    PendingUse pendingUse_;
    std::vector<Variable*> queueVariables_;
    std::vector<std::int32_t> counters_;  // one per open list of parameters, variables, arguments, values

    // Libraries. In library mode new globals, functions and code go to the lists below, which hold what was
    // compiled since the last procedure of a library.
    bool libraryMode_ = false;
    bool firstEnd_ = true;            // the main script's end has not been met yet
    std::vector<Library> libraries_;  // a stack: the last one pushed is read first
    std::unordered_map<std::string_view, std::vector<CodeNode*>>
        unresolved_;  // calls of the main script to names that it doesn't define, in order
    LinkedList<Variable> libraryGlobals_;
    LinkedList<CodeNode> libraryCode_;
    LinkedList<FunctionRecord> libraryFunctions_;

    // Names are found through these.
    NameIndex<Variable> libraryGlobalIndex_;
    NameIndex<Variable> localIndex_;  // of the current function
    NameIndex<Variable> parameterIndex_;

    // Statements
    std::vector<CodeNode*> jumps_;  // open if, else, loop, switch, select
    std::vector<CodeNode*> arms_;   // open case and when arms
    bool forHeader_ = false;        // between the parentheses of a three-part for
    Variable* loopVariable_ = nullptr;
    SourcePos loopPlace_;
    std::int64_t statementToken_ = -1;  // number of the first token of the expression statement

    // Expressions
    std::vector<CodeNode> entries_;   // the expression in postfix order
    std::vector<CodeNode> indexed_;   // operands of open "["
    std::vector<CodeNode> callees_;   // callees of open "("
    std::vector<bool> blocks_;        // per open parenthesis: it brackets an assignment block
    bool inIndex_ = false;            // one flag, as designed: a nested index clears it for the outer one
    bool emissionSuspended_ = false;  // exposed items are looked at, not run
    std::size_t conditionalIf_ = 0;   // entries of the last "?", single as designed
    std::size_t conditionalEndIf_ = 0;
    bool hasElse_ = false;
    int conditionalDepth_ = 0;
    std::int32_t pendingAssignment_ = OP_ASSIGN;  // single as designed: a chain uses the operator read last

    CodeNode spareNode_;  // stands in when there is no memory for the first of its kind
    FunctionRecord spareFunction_;
};

}  // namespace kestrel
