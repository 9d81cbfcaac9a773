// The statement loop of the host: it reads statements by a grammar, fills statement records, and calls back.
#pragma once

#include <string_view>

#include "frame/grammar.h"
#include "frame/statement.h"

namespace vek {

/// What the statement loop calls; a null entry is not called. Numbers as the host counts them.
struct Callbacks {
    int (*quit)() = nullptr;             ///< 1: the procedure ends (QUIT, next step, end of input)
    int (*statement_parsed)() = nullptr; ///< 4: a statement has been parsed, well or badly
    bool (*statement_begins)() = nullptr;///< 5: its keyword is the current token; true refuses the statement
    int (*run)() = nullptr;              ///< 7: a RUN statement was read
    int (*where)() = nullptr;            ///< 13: a WHERE statement was read
    int (*where_end)() = nullptr;        ///< 16: and is complete
};

constexpr int trace_semantic = 1;
constexpr int trace_syntax = 2;

/// Runs the statement loop until the procedure ends, filling the chain of `proc`.
void xsproc(const Grammar* grammar, Proc* proc, int traces, const Callbacks* callbacks);

std::string_view xttkcur();              ///< text of the current token, keywords in upper case
void xttksp();                           ///< skips tokens to the end of the current statement
Statement* zstmtfr(Proc* proc, Statement* record);  ///< unlinks and frees a record; returns the one before it
void xowgate(int (*gate)());             ///< registers the gate that tells whether WHERE can still apply
std::string_view wtinfo(int request);    ///< 1: the name under which the procedure was invoked
/// False when it is certain that no statement of the step follows the ones that have been read.
bool xsmore();
/// Names the statement that is being carried out, for messages that arise while it runs; null for none.
void xsnow(const Statement* statement);

}  // namespace vek
