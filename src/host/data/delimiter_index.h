// Bytes of a data file to the places of its delimiters and line ends, 64 bytes at a time, with quotes honoured, and a
// few facts about the bytes that tell whether anything out of the ordinary is among them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vek {

struct IndexFacts {
    std::size_t delimiters = 0;  ///< places noted, line ends among them
    std::size_t line_ends = 0;   ///< line feeds outside quotes
    std::size_t line_feeds = 0;  ///< all of them
    std::size_t quotes = 0;
    bool in_quotes = false;     ///< the text ends inside quotes
    bool returns = false;       ///< there are carriage returns
    bool lone_return = false;   ///< one of them, outside quotes, is not followed by a line feed
    bool zero = false;          ///< there is a byte 0
    bool beyond_ascii = false;  ///< there is a byte above 127
};

/// Notes the offset of every delimiter and line feed outside quotes. `text` must be readable up to 64 bytes behind its
/// end, and `ends` have room for size + 16 places. Starts outside quotes.
using IndexRoutine = IndexFacts (*)(const char* text, std::size_t size, char delimiter, std::uint32_t* ends);

/// The fastest routine that this machine runs, and the plain one that it must agree with.
IndexRoutine index_routine();
IndexRoutine plain_index_routine();

}  // namespace vek
