// The options of a data set reference as they stand in a statement, with their tokens for messages.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/data/data_file.h"
#include "host/statement/token.h"

namespace vek {

/// A part of a KEEP= or DROP= list.
struct NameForm {
    enum class Kind { single, numbered, ordered, prefix, numeric, character, all } kind = Kind::single;
    Token first, last;
};

struct Renaming {
    Token from, to;
};

struct ReferenceOptions {
    std::vector<Token> where;  ///< the condition's tokens, with the closing parenthesis; empty when there is none
    std::vector<NameForm> keep, drop;
    bool has_keep = false;
    std::vector<Renaming> rename;
    std::optional<std::int64_t> first, last, skip;
    std::optional<char> delimiter, decimal;
    std::optional<Encoding> encoding;
    std::optional<Token> for_files;   ///< the first option that only a file has
    std::optional<Token> for_inputs;  ///< the first option that only a data set to read has
};

}  // namespace vek
