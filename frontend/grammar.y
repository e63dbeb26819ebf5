// The grammar of Kestrel.
//
// The rules stand as the language reference gives them; the actions are calls of one line into the Compiler (one
// actions_*.cpp file per subject). Two things matter when this file is changed:
//
//  - The scanner binds names to symbols as it reads them, so the moment at which an action runs relative to the
//    reading of the next token decides which record a name denotes. The parser reads a token only in a state that
//    needs one (default reductions), which the push interface keeps; the empty mid-rule actions stay where they are.
//  - The messages of syntax errors list the tokens that a state's own table accepts, in the order in which the tokens
//    are declared here.
//
// Do not reorder alternatives: between two reductions of equal weight the first one wins.

%require "3.8"
%define api.prefix {kestrel_yy}
%define api.token.prefix {TK_}
%define api.pure full
%define api.push-pull push
%define api.value.type {kestrel::TokenValue}
%define api.location.type {kestrel::SourcePos}
%define parse.error custom
%locations
%param {kestrel::Compiler& c}

// Every conflict is settled by shifting: the nearest `if` gets the `else`, `return (` opens the parenthesised list,
// `f()` has no argument, and so on.
%expect 35

%code requires {
#include "frontend/token.h"

namespace kestrel {
class Compiler;
}
}

%code {
#include "frontend/compile_state.h"
#include "frontend/parser.h"
#include "frontend/token_text.h"

#include <algorithm>
#include <new>
#include <string>

using namespace kestrel;

// Both are plain data, so the parser may move its stacks.
#define KESTREL_YYSTYPE_IS_TRIVIAL 1
#define KESTREL_YYLTYPE_IS_TRIVIAL 1
// Most rules pass one symbol on, and its place with it.
#define YYLLOC_DEFAULT(current, rhs, n) \
    ((current) = (n) == 1 ? (rhs)[1] : placeOfRule((rhs), static_cast<int>(n)))

#define YYINITDEPTH 200
#define YYMAXDEPTH 10000

/// Runs an action. When it leaves the abort flag set the parse is abandoned at once.
#define ACT(call) \
    do { \
        c.call; \
        if (c.aborted()) YYABORT; \
    } while (false)

static void yyerror(const SourcePos* where, kestrel::Compiler& c, const char* message);

/// From the first of a rule's symbols that has any text to the last. An empty rule has a place without width behind
/// the symbol before it (symbols[0]).
static SourcePos placeOfRule(const SourcePos* symbols, int count) noexcept {
    SourcePos first = symbols[count == 0 ? 0 : 1];
    if (count == 0) first.column = first.endColumn;
    for (int i = 2; i <= count && first.column == first.endColumn; ++i) first = symbols[i];
    return joinPlaces(first, symbols[count]);
}
}

// 258 ...
%token IF ELSE WHILE DO FOR CONST EQ NOTEQ LTEQ GTEQ PLEQ MNEQ DVEQ MLEQ CASE DEFAULT GOTO CONTINUE BREAK RETURN
%token AND_OP OR_OP STRLIT SCOPE_OP INCR DECR TRUEX FALSEX VAR NIL LIBRARY XBEGIN XEND TO BY PROCEDURE THEN EOS SELECT
%token WHEN SWITCH OTHERWISE XOREQ IOREQ ANDEQ LEFTSHIFT_OP RIGHTSHIFT_OP ASSIGN_OP USE CLASS AS BUILD ON RECORD
%token DECLARE RECORD_OP EXPOSE PPLINE NAME NUMBER INTEGER UMINUS LOWER_THAN_ELSE
%token '-' '+' '*' '/' '=' ';' ',' '{' '}' '<' '>' ':' '(' ')' '@' '[' ']' '.' '$' '&' '~' '!' '%' '^' '|' '?'

%start program

%%

// ---- Program items: only declarations stand outside procedures ----

program:
    { ACT(beginProgram()); } program_items
  | %empty
  ;

program_items:
    program_item
  | program_items program_item
  ;

program_item:
    pp_line
  | global_decl
  | decl_statement
  | procedure
  | lib_decl
  | use_decl
  | record_decl
  | queue_decl
  ;

pp_line:
    PPLINE INTEGER                                  { ACT(lineMarker($2.integer)); }
  ;

global_decl:
    globals ';'                                     { ACT(endGlobals(@2)); }
  ;

globals:
    global
  | globals ',' global
  ;

global:
    NAME '=' { ACT(beginGlobalValue($1.symbol, @1)); } expr
                                                    { ACT(endGlobalValue(@1)); }
  | NAME                                            { ACT(bareGlobal(@1)); }
  ;

lib_decl:
    LIBRARY STRLIT ';'                              { ACT(declareLibrary($2.text, @2)); }
  ;

use_decl:
    USE STRLIT AS CLASS NAME { ACT(beginUse($2.text, $5.symbol, @5)); } inherit_clause ';'
                                                    { ACT(endUse(@2, @7)); }
  ;

inherit_clause:
    %empty
  | BUILD ON NAME                                   { ACT(useBase($3.symbol)); }
  ;

record_decl:
    DECLARE RECORD NAME '{' { ACT(beginRecord($3.symbol, @3)); } record_names ';' '}'
  ;

record_names:
    record_name_list
  | record_names ';' record_name_list
  ;

record_name_list:
    record_id
  | record_name_list ',' record_id
  ;

record_id:
    NAME                                            { ACT(addField($1.symbol)); }
  | NAME '=' { ACT(addField($1.symbol)); } record_init_value
  ;

record_init_value:
    STRLIT                                          { ACT(fieldText($1.text)); }
  | NUMBER                                          { ACT(fieldNumber($1.number)); }
  | INTEGER                                         { ACT(fieldInteger($1.integer)); }
  | '<' NUMBER ',' NUMBER ',' NUMBER '>'            { ACT(fieldVector($2.number, $4.number, $6.number)); }
  ;

queue_decl:
    EXPOSE { ACT(beginQueue()); } queue_vars AS NAME ';'
                                                    { ACT(endQueue($5.symbol, @5)); }
  ;

queue_vars:
    queue_var
  | queue_vars ',' queue_var
  ;

queue_var:
    { ACT(beginQueueItem()); } expr                 { ACT(endQueueItem(@2)); }
  ;

procedure:
    PROCEDURE NAME { ACT(beginProcedure($2.symbol, @2)); } args_option compound_statement
                                                    { ACT(endProcedure(@5)); }
  | NAME { ACT(beginProcedure($1.symbol, @1)); } args_option compound_statement
                                                    { ACT(endProcedure(@4)); }
  ;

args_option:
    %empty
  | ':' { ACT(beginParameters()); } var_items       { ACT(endParameters()); }
  ;

// ---- Statements ----

statement:
    compound_statement
  | select_statement
  | iterate_statement
  | decl_statement
  | flow_statement
  | exec_statement
  | jump_statement
  ;

compound_statement:
    '{' cs_statement_list '}'
  | XBEGIN cs_statement_list XEND
  ;

cs_statement_list:
    statement_list
  | %empty
  ;

statement_list:
    statement
  | statement_list statement
  ;

select_statement:
    IF '(' expr ')' { ACT(beginIf(@1)); } statement { ACT(endIf()); } else_statement
  | IF expr THEN { ACT(beginIf(@1)); } statement { ACT(endIf()); } else_statement
  ;

else_statement:
    %empty
  | ELSE { ACT(beginElse(@1)); } statement          { ACT(endElse()); }
  ;

iterate_statement:
    WHILE '(' { ACT(loopTop(@1)); } expr ')' { ACT(beginWhile(@1)); } statement
                                                    { ACT(endWhile()); }
  | WHILE { ACT(loopTop(@1)); } expr DO { ACT(beginWhile(@1)); } statement
                                                    { ACT(endWhile()); }
  | DO statement WHILE '(' { ACT(beginDoWhile(@3)); } expr ')' ';'
                                                    { ACT(endDoWhile(@3)); }
  | DO statement WHILE { ACT(beginDoWhile(@3)); } expr ';'
                                                    { ACT(endDoWhile(@3)); }
  | FOR '(' { ACT(beginForHeader()); } var_items ';' { ACT(forTest(@1)); } expr ';' { ACT(forStep(@1)); }
    var_items ')' { ACT(forBody(@1)); } statement   { ACT(endFor()); }
  | FOR NAME assign_op { ACT(beginCounted($2.symbol, @2)); } expr { ACT(countedTest(@2)); } TO expr
    { ACT(countedStep(@1)); } for_options { ACT(countedBody(@1)); } DO statement
                                                    { ACT(endFor()); }
  | DO NAME assign_op { ACT(beginCounted($2.symbol, @2)); } expr { ACT(countedTest(@2)); } TO expr
    { ACT(countedStep(@1)); } for_options { ACT(countedBody(@1)); } statement
                                                    { ACT(endFor()); }
  | SWITCH '(' expr ')' { ACT(beginSwitch(@1)); } compound_case
                                                    { ACT(endSwitch(@6)); }
  | SELECT { ACT(beginSelect(@1)); } compound_when  { ACT(endSwitch(@3)); }
  ;

assign_op:
    '='
  | ASSIGN_OP
  ;

for_options:
    %empty                                          { ACT(stepByOne()); }
  | BY NUMBER                                       { ACT(stepByNumber($2.number, @2)); }
  | BY INTEGER                                      { ACT(stepByInteger($2.integer, @2)); }
  | BY NAME                                         { ACT(stepByName($2.symbol, @2)); }
  ;

compound_case:
    '{' case_statement_list '}'
  ;

case_statement_list:
    case_statement
  | case_statement_list case_statement
  ;

case_statement:
    CASE { ACT(caseLabel(@1)); } INTEGER ':' { ACT(caseInteger($3.integer, @3)); } case_code
                                                    { ACT(endCase(true)); }
  | CASE { ACT(caseLabel(@1)); } NUMBER ':' { ACT(caseNumber($3.number, @3)); } case_code
                                                    { ACT(endCase(true)); }
  | CASE { ACT(caseLabel(@1)); } NAME ':' { ACT(caseName($3.symbol, @3)); } case_code
                                                    { ACT(endCase(true)); }
  | DEFAULT ':' { ACT(defaultCase(@1)); } case_code { ACT(endCase(false)); }
  ;

case_code:
    %empty
  | case_code_items
  ;

case_code_items:
    case_code_item
  | case_code_items case_code_item
  ;

case_code_item:
    statement
  ;

compound_when:
    when_statement_list XEND
  ;

when_statement_list:
    when_statement
  | when_statement_list when_statement
  ;

when_statement:
    WHEN expr { ACT(beginWhen(@1)); } THEN DO when_code XEND
                                                    { ACT(endWhen(@7)); }
  | OTHERWISE { ACT(beginOtherwise(@1)); } DO when_code XEND
                                                    { ACT(endWhen(@5)); }
  ;

when_code:
    %empty
  | when_code_items
  ;

when_code_items:
    when_code_item
  | when_code_items when_code_item
  ;

when_code_item:
    statement
  ;

flow_statement:
    RETURN ';'                                      { ACT(returnNothing(@1)); }
  | BREAK ';'                                       { ACT(simple(OP_BREAK, @1)); }
  | RETURN { ACT(beginReturn()); } return_args ';'  { ACT(endReturn(@1)); }
  | RETURN '(' { ACT(beginReturn()); } return_args ')' ';'
                                                    { ACT(endReturn(@1)); }
  ;

exec_statement:
    { ACT(beginExpressionStatement()); } expr ';'   { ACT(simple(OP_ENDSTMT, @3)); }
  | error ';'
  | error '}'
  ;

decl_statement:
    VAR { ACT(beginVarList()); } var_items ';'      { ACT(endVarList(@4)); }
  ;

var_items:
    var_item
  | var_items ',' { ACT(nextVarItem(@2)); } var_item
  ;

var_item:
    { ACT(beginVarItem()); } expr                   { ACT(endVarItem(@2)); }
  ;

return_args:
    return_arg
  | return_args ',' return_arg
  ;

return_arg:
    %empty                                          { ACT(emptyReturnValue(@$)); }
  | expr                                            { ACT(countItem()); }
  ;

jump_statement:
    GOTO ';'
  | CONTINUE ';'                                    { ACT(simple(OP_CONTINUE, @1)); }
  ;

// ---- Expressions ----

primary_expr:
    NIL                                             { ACT(add(OP_NIL, @1)); }
  | TRUEX                                           { ACT(addNumber(1.0, @1)); }
  | FALSEX                                          { ACT(addNumber(0.0, @1)); }
  | NUMBER                                          { ACT(addNumber($1.number, @1)); }
  | INTEGER                                         { ACT(addInteger($1.integer, @1)); }
  | NAME                                            { ACT(addName($1.symbol, 0, @1)); }
  | SCOPE_OP NAME                                   { ACT(addName($2.symbol, kestrel::kNodeGlobalRef, @$)); }
  | STRLIT                                          { ACT(addText($1.text, @1)); }
  | '(' { ACT(openParenthesis(@1)); } argument_expr_list ')'
                                                    { ACT(closeParenthesis(@4)); }
  | '@' { ACT(add(OP_LIST, @1)); } expression '@'   { ACT(add(OP_LIST, @4)); }
  | '<' additive_expr ',' additive_expr ',' additive_expr '>'
                                                    { ACT(add(OP_VECTOR, @$)); }
  ;

postfix_expr:
    primary_expr
  | postfix_expr '[' { ACT(openIndex(@1)); } expression ']'
                                                    { ACT(closeIndex()); }
  | postfix_expr '[' ']'                            { ACT(emptyIndex(@1)); }
  | postfix_expr '(' ')'                            { ACT(callWithoutArguments(@1)); }
  | postfix_expr '(' { ACT(openCall(@1)); } argument_expr_list ')'
                                                    { ACT(closeCall()); }
  | postfix_expr INCR                               { ACT(increment(OP_POSTINC, @2)); }
  | postfix_expr DECR                               { ACT(increment(OP_POSTDEC, @2)); }
  ;

argument_expr_list:
    argument_expr_item
  | argument_expr_list ',' argument_expr_item
  ;

argument_expr_item:
    %empty                                          { ACT(emptyArgument(@$)); }
  | assignment_expr                                 { ACT(countItem()); }
  ;

record_ref:
    postfix_expr
  | NAME RECORD_OP postfix_expr                     { ACT(addMember(OP_RECORD, $1.symbol, @1)); }
  ;

obj_ref:
    record_ref
  | NAME '.' record_ref                             { ACT(addMember(OP_MEMBER, $1.symbol, @1)); }
  | NAME '$' record_ref                             { ACT(addMember(OP_IPCREF, $1.symbol, @1)); }
  ;

unary_expr:
    obj_ref
  | INCR unary_expr                                 { ACT(increment(OP_PREINC, @1)); }
  | DECR unary_expr                                 { ACT(increment(OP_PREDEC, @1)); }
  | '&' unary_expr
  | '*' unary_expr
  | '+' unary_expr
  | '-' unary_expr                                  { ACT(add(OP_NEG, @1)); }
  | '~' unary_expr
  | '!' unary_expr                                  { ACT(add(OP_NOT, @1)); }
  ;

multiplicative_expr:
    unary_expr
  | multiplicative_expr '*' unary_expr              { ACT(add(OP_MUL, @2)); }
  | multiplicative_expr '/' unary_expr              { ACT(add(OP_DIV, @2)); }
  | multiplicative_expr '%' unary_expr              { ACT(add(OP_MOD, @2)); }
  ;

additive_expr:
    multiplicative_expr
  | additive_expr '+' multiplicative_expr           { ACT(add(OP_ADD, @2)); }
  | additive_expr '-' multiplicative_expr           { ACT(add(OP_SUB, @2)); }
  ;

relational_expr:
    additive_expr
  | relational_expr '<' additive_expr               { ACT(add(OP_LT, @2)); }
  | relational_expr '>' additive_expr               { ACT(add(OP_GT, @2)); }
  | relational_expr LTEQ additive_expr              { ACT(add(OP_LE, @2)); }
  | relational_expr GTEQ additive_expr              { ACT(add(OP_GE, @2)); }
  ;

equality_expr:
    relational_expr
  | equality_expr EQ relational_expr                { ACT(add(OP_EQ, @2)); }
  | equality_expr NOTEQ relational_expr             { ACT(add(OP_NE, @2)); }
  ;

rightshift_expr:
    equality_expr
  | rightshift_expr RIGHTSHIFT_OP equality_expr     { ACT(add(OP_SHR, @2)); }
  ;

leftshift_expr:
    rightshift_expr
  | leftshift_expr LEFTSHIFT_OP rightshift_expr     { ACT(add(OP_SHL, @2)); }
  ;

and_expr:
    leftshift_expr
  | and_expr '&' leftshift_expr                     { ACT(add(OP_BITAND, @2)); }
  ;

exclusive_or_expr:
    and_expr
  | exclusive_or_expr '^' and_expr                  { ACT(add(OP_XOR, @2)); }
  ;

inclusive_or_expr:
    exclusive_or_expr
  | inclusive_or_expr '|' exclusive_or_expr         { ACT(add(OP_BITOR, @2)); }
  ;

logical_and_expr:
    inclusive_or_expr
  | logical_and_expr AND_OP inclusive_or_expr       { ACT(add(OP_AND, @2)); }
  ;

logical_or_expr:
    logical_and_expr
  | logical_or_expr OR_OP logical_and_expr          { ACT(add(OP_OR, @2)); }
  ;

conditional_expr:
    logical_or_expr
  | logical_or_expr '?' { ACT(beginConditional(@2)); } expression { ACT(endThenPart()); } conditional_opt
                                                    { ACT(endConditional()); }
  ;

conditional_opt:
    %empty
  | ':' { ACT(beginElsePart(@1)); } conditional_expr
                                                    { ACT(add(OP_ENDELSE, @1)); }
  ;

assignment_expr:
    conditional_expr
  | unary_expr { ACT(assignmentTarget(false, @1)); } assignment_operator assignment_expr
                                                    { ACT(addPendingAssignment(@3)); }
  | CONST unary_expr { ACT(assignmentTarget(true, @2)); } assignment_operator assignment_expr
                                                    { ACT(addPendingAssignment(@4)); }
  ;

assignment_operator:
    '='                                             { ACT(plainAssignment()); }
  | ASSIGN_OP                                       { ACT(plainAssignment()); }
  | MLEQ                                            { ACT(compoundAssignment(OP_MULASSIGN)); }
  | DVEQ                                            { ACT(compoundAssignment(OP_DIVASSIGN)); }
  | PLEQ                                            { ACT(compoundAssignment(OP_ADDASSIGN)); }
  | MNEQ                                            { ACT(compoundAssignment(OP_SUBASSIGN)); }
  | XOREQ                                           { ACT(compoundAssignment(OP_XORASSIGN)); }
  | IOREQ                                           { ACT(compoundAssignment(OP_ORASSIGN)); }
  | ANDEQ                                           { ACT(compoundAssignment(OP_ANDASSIGN)); }
  ;

expression:
    assignment_expr
  | expression ',' { ACT(nextExpression(@2)); } assignment_expr
  ;

expr:
    { ACT(beginExpression()); } assignment_expr     { ACT(endExpression()); }
  ;

%%

static_assert(TK_IF == 258 && TK_LOWER_THAN_ELSE == 320);
static_assert(TK_STRLIT == static_cast<int>(kestrel::NamedToken::StringLiteral));
static_assert(TK_NAME == static_cast<int>(kestrel::NamedToken::Name));
static_assert(TK_NUMBER == static_cast<int>(kestrel::NamedToken::Number));
static_assert(TK_INTEGER == static_cast<int>(kestrel::NamedToken::Integer));
static_assert(YYNTOKENS == kestrel::kTerminals);
static_assert(kestrel::kTokenText[YYSYMBOL_EXPOSE] == "'->'" && kestrel::kTokenText[YYSYMBOL_NAME] == "<identifier>");
static_assert(kestrel::kTokenText[YYNTOKENS - 1] == "'?'");

namespace {

/// The tokens that the state's own table accepts, as the message lists them; the empty text for five or more. The
/// token "error" counts like any other.
std::string expectedTokens(int tableStart) {
    std::string text;
    int count = 0;
    const int first = tableStart < 0 ? -tableStart : 0;
    const int last = std::min(YYLAST - tableStart + 1, YYNTOKENS);
    for (int symbol = first; symbol < last; ++symbol) {
        if (yycheck[tableStart + symbol] != symbol || yytable_value_is_error(yytable[tableStart + symbol])) continue;
        if (++count == 5) return {};
        text += count == 1 ? ", expecting " : " or ";
        text += kestrel::kTokenText[static_cast<std::size_t>(symbol)];
    }
    return text;
}

}  // namespace

static int yyreport_syntax_error(const yypcontext_t* place, kestrel::Compiler& c) {
    const int tableStart = yypact[*place->yyps->yyssp];
    if (yypact_value_is_default(tableStart))
        c.report(c.lastPlace(), MessageId::SyntaxError);
    else
        c.report(c.lastPlace(), MessageId::UnexpectedToken, expectedTokens(tableStart));
    c.adviseOnSyntaxError();
    return 0;
}

// Called for exhausted stacks only.
static void yyerror(const SourcePos*, kestrel::Compiler& c, const char*) { c.report(c.lastPlace(), MessageId::NestedTooDeep); }

namespace kestrel {

struct Parser::State {
    yypstate* parser = yypstate_new();
    ~State() { yypstate_delete(parser); }
};

Parser::Parser(Compiler& compiler) : compiler_(compiler), state_(std::make_unique<State>()) {
    if (state_->parser == nullptr) throw std::bad_alloc();
}

Parser::~Parser() = default;

Parser::Status Parser::push(const Token& token) {
    SourcePos where = token.pos;
    const int result = yypush_parse(state_->parser, token.code, &token.value, &where, compiler_);
    return result == YYPUSH_MORE ? Status::More : static_cast<Status>(result);
}

bool Parser::recovering() const noexcept { return state_->parser->yyerrstatus != 0; }

}  // namespace kestrel
