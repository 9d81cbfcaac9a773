// A statement as a record: option bits and numbered slots, filled by the statement engine and read by the analyses.
// Also the block PROC that holds the chain of statements.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "frame/host_data.h"
#include "model/effect.h"

namespace vek {

/// A class level as text in a statement: 16 blank-padded characters and a terminator.
using LevelText = char[17];

constexpr int slot_absent = 0;
constexpr int slot_given = 1;
constexpr int slot_input = 3;   ///< a data set to read
constexpr int slot_output = 4;  ///< a data set to write

/// One numbered place of a statement: a number, a list, a data set or a text.
struct Slot {
    int type = slot_absent;
    int count = 0;              ///< elements of a list, characters of a text
    double value = 0;           ///< of a number
    void* list = nullptr;       ///< elements, or the text (zero-terminated too)
    DataSet* handle = nullptr;  ///< of a data set

    bool given() const { return type != slot_absent; }
    std::span<int> variables() const { return as<int>(); }  ///< variable numbers of the data set
    std::span<int> codes() const { return as<int>(); }      ///< small integers, as told at the option
    std::span<double> numbers() const { return as<double>(); }
    std::span<Effect*> effects() const { return as<Effect*>(); }
    std::span<std::string_view> names() const { return as<std::string_view>(); }
    std::span<LevelText> levels() const { return as<LevelText>(); }
    std::string_view text() const { return {static_cast<const char*>(list), static_cast<std::size_t>(count)}; }

  private:
    template <class T>
    std::span<T> as() const {
        return {static_cast<T*>(list), static_cast<std::size_t>(count)};
    }
};

struct Statement {
    Statement* next = nullptr;
    char name[9] = {};           ///< the keyword, blank-padded; only its first three letters are compared
    std::uint8_t flags[8] = {};  ///< option bit n is mask 0x80 >> (n & 7) of byte n >> 3
    int highest = 0;             ///< highest slot number
    Slot* args = nullptr;        ///< slots 0 to highest

    // Results that an analysis hangs on its statement for the tables.
    double rank = 0;             ///< CONTRAST: rank of its hypothesis
    double* estimate = nullptr;  ///< ESTIMATE: variance factor, then the estimate of each dependent variable
    void* work = nullptr;        ///< OUTPUT: its open data set
    bool told = false;           ///< MEANS: what comes to nothing has been told

    bool option(int bit) const { return (flags[bit >> 3] & (0x80 >> (bit & 7))) != 0; }
    void set_option(int bit) { flags[bit >> 3] = static_cast<std::uint8_t>(flags[bit >> 3] | (0x80 >> (bit & 7))); }
    void clear_option(int bit) { flags[bit >> 3] = static_cast<std::uint8_t>(flags[bit >> 3] & ~(0x80 >> (bit & 7))); }
    /// True when the first three letters of the keyword are these.
    bool is(const char* three) const { return std::memcmp(name, three, 3) == 0; }
    Slot& slot(int k) { return args[k]; }
    const Slot& slot(int k) const { return args[k]; }
};

// Slots of the PROC record that list statements fill.
constexpr int proc_by = 0, proc_continuous = 1, proc_class = 2, proc_freq = 5, proc_weight = 6, proc_id = 7,
              proc_absorb = 9, proc_order = 10, proc_data = 11, proc_outstat = 12, proc_alpha = 13, proc_namelen = 16;

/// The block shared with the statement loop.
struct Proc {
    Statement* head = nullptr;       ///< the PROC statement's record, first of the chain
    Statement* last = nullptr;       ///< most recently appended record
    int rc = 0;                      ///< status of the statement just parsed; 0 good
    bool headdone = false;           ///< the PROC statement is complete
    int state = 0;                   ///< -1 accepting, -2 no more undo
    EffectBlock* efblock = nullptr;  ///< made by zefprsi
    bool syntrace = false;           ///< the DEBUG host option holds SYN
    bool semtrace = false;           ///< the DEBUG host option holds SEM
};

}  // namespace vek
