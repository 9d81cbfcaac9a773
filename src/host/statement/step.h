// What the statement engine knows of the step that it reads, and of the statement at the cursor.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "frame/host_statement.h"
#include "host/data/dataset.h"
#include "host/data/reference.h"
#include "host/statement/scanner.h"

namespace vek {

/// What is missing because of mistakes that have been told: the data sets and formats that their statements and steps
/// would have made. Statements that need these are not complained of; they just cannot be carried out.
struct Unmade {
    std::set<std::string> data_sets;  ///< names in capitals
    std::string text;                 ///< of the statements with mistakes, in capitals

    bool mentions(std::string_view name) const;
};

/// A word of a statement that may turn out wrong when the statement is carried out.
struct Word {
    std::string text;
    Place place;
};

/// A step. Names that could not be resolved because of an earlier mistake are in doubt: they are not complained of
/// again.
struct Step {
    const Grammar* grammar = nullptr;
    Proc* proc = nullptr;
    const Callbacks* callbacks = nullptr;
    bool trace_syntax = false, trace_semantic = false;

    DataSet* data = nullptr;           ///< input data set; null while it is not open, and when it could not be opened
    Unmade* unmade = nullptr;          ///< of the program
    bool silenced = false;             ///< it cannot be carried out because of a mistake outside of it
    std::vector<std::string> outputs;  ///< names of the data sets that it makes
    bool checking = false;        ///< a mistake stands: what follows is read for its own mistakes, and nothing runs
    bool class_in_doubt = false;  ///< variables may be missing from CLASS because of a mistake
    bool model_in_doubt = false;  ///< the model is not what was meant
    bool model_given = false;     ///< a MODEL statement has been accepted
    bool model_tried = false;     ///< there was one, good or bad

    std::vector<ByVariable> by;
    bool by_not_sorted = false;
    EffectBlock spare_effects;                            ///< while the procedure has made none
    Effect* intercept = nullptr;                          ///< the effect that stands for INTERCEPT in statements
    std::map<std::string, int> unknown_variables;         ///< made-up numbers while there is no data set
    std::map<const Statement*, Place> places;             ///< first word of each statement
    std::map<const Statement*, std::vector<Word>> words;  ///< new names of statements, in order
    const Statement* now = nullptr;                       ///< the statement that is being carried out

    EffectBlock& effects() { return proc->efblock != nullptr ? *proc->efblock : spare_effects; }
    Slot& class_list() { return proc->head->slot(proc_class); }
    Slot& continuous_list() { return proc->head->slot(proc_continuous); }
};

/// A data set of a statement, opened when the statement has been read without a mistake.
struct PendingOpen {
    int slot = 0;
    bool output = false;
    bool absent = false;  ///< the data set made last, or one with a made-up name
    DataReference reference;
};

/// The statement at the cursor.
struct StatementContext {
    TokenCursor& cursor;
    Step& step;
    const StatementRule* rule = nullptr;
    Statement* record = nullptr;  ///< the statement's, or that of PROC for a list statement
    Token keyword;
    std::vector<PendingOpen> opens{};

    /// Remembers where this word of the statement stands, for messages while it is carried out.
    void remember(const std::string& word, const Token& token) {
        step.words[record].push_back({word, cursor.place(token)});
    }
    /// The statement's name for messages.
    std::string_view name() const { return first_name(rule->names); }
};

/// True when this word in capitals is the keyword of a statement, here or outside a step.
bool is_statement_keyword(const Grammar* grammar, std::string_view word);
/// True when what follows the keyword at a position of the cursor could be its statement.
bool begins_statement(const TokenCursor& cursor, std::size_t position, const Step* step);

}  // namespace vek
