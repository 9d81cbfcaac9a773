// Raw values of one class variable become level numbers. A value is found by hash of its bytes; only one that has not
// been seen before is formatted, and values with the same formatted text share a level. What is known of a value
// outlasts the BY group, its level number does not.
#pragma once

#include <cstdint>
#include <cstring>

#include "frame/host_data.h"
#include "model/zgm.h"

namespace vek {

/// A raw value as the bytes it is found by: a number's pattern, or a text's length and characters.
struct ValueKey {
    std::uint64_t low = 0, high = 0;
    std::int32_t length = 0;  ///< of a text of up to 16 characters; long_text for a longer one; 0 for a number
};
constexpr std::int32_t long_text = 17;

inline ValueKey key_of(double number) {
    ValueKey key;
    std::memcpy(&key.low, &number, sizeof key.low);
    return key;
}
ValueKey key_of_long(TextValue text);
inline ValueKey key_of(TextValue text) {
    const auto piece = [&](int at, std::size_t bytes) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, text.data + at, bytes);
        return bits;
    };
    // Whole words from both ends, which may overlap: with the length they tell the text.
    if (text.length >= 8) {
        if (text.length > 16) return key_of_long(text);
        return {piece(0, 8), piece(text.length - 8, 8), text.length};
    }
    if (text.length >= 4) return {piece(0, 4) | piece(text.length - 4, 4) << 32, 0, text.length};
    if (text.length <= 0) return {};
    return {piece(0, 1) | piece(text.length / 2, 1) << 8 | piece(text.length - 1, 1) << 16, 0, text.length};
}

class ValueTable {
  public:
    static constexpr std::int16_t unassigned = -1;

    struct Slot {
        std::uint64_t low, high;
        std::int32_t entry;  // -1 for a free slot
        std::int16_t length;
        std::int16_t level;  // in the current BY group
    };

    /// Prepares an empty table for `variable`.
    void open(Pool* pool, const DataSet* data, int variable);
    /// A new BY group begins: no value has a level.
    void begin_group();

    /// The slot of a value, or the free slot where it belongs.
    Slot* find(double number) const {
        const ValueKey key = key_of(number);
        for (std::uint64_t h = hash(key);; ++h) {
            Slot* slot = slots_ + (h & mask_);
            if (slot->low == key.low || slot->entry < 0) return slot;
        }
    }
    Slot* find(TextValue text) const {
        const ValueKey key = key_of(text);
        for (std::uint64_t h = hash(key);; ++h) {
            Slot* slot = slots_ + (h & mask_);
            const bool same = slot->low == key.low && slot->high == key.high && slot->length == key.length;
            if (slot->entry < 0 || (same && (key.length != long_text || same_long(*slot, text)))) return slot;
        }
    }

    /// Gives a value without a level (whose slot find has returned) the level of its formatted text, or the next one,
    /// `next`, which is then raised. Returns the level; -1 when a new one would exceed the limit. `lower` tells whether
    /// raw is a lower value than the level's.
    int assign(Slot* slot, double number, int* next) { return assign_level(enter(slot, number), next); }
    int assign(Slot* slot, TextValue text, int* next) { return assign_level(enter(slot, text), next); }

    /// Formatted text and raw value of the value that `assign` has been called for last.
    const char* text() const { return texts_[entries_[last_].text].text; }
    const RawValue& raw() const { return entries_[last_].raw; }

  private:
    struct Entry {
        RawValue raw;
        const char* whole;  // characters of a long text
        std::int32_t length;
        std::int32_t text;  // index of the formatted text
        std::uint32_t slot;
    };
    struct Text {
        char text[16];
        std::int32_t level;
    };

    static std::uint64_t mix(std::uint64_t low, std::uint64_t high) {
        const std::uint64_t folded = (low ^ (low >> 32)) + (high ^ (high >> 29)) * 0xC2B2AE3D27D4EB4FU;
        return folded * 0x9E3779B97F4A7C15U;
    }
    std::uint64_t hash(const ValueKey& key) const { return mix(key.low, key.high) >> shift_; }
    bool same_long(const Slot& slot, TextValue text) const;
    int enter(Slot* slot, double number);
    int enter(Slot* slot, TextValue text);
    int add_entry(Slot* slot, const ValueKey& key, const RawValue& raw, const char* formatted);
    int assign_level(int entry, int* next);
    int find_text(const char* formatted);
    void clear();
    void grow_slots();
    void grow_text_slots();

    Pool* pool_;
    const DataSet* data_;
    int variable_;
    Slot* slots_;
    std::uint64_t mask_;
    int shift_;
    Entry* entries_;
    int nentries_, entry_capacity_;
    Text* texts_;
    int ntexts_, text_capacity_;
    std::int32_t* text_slots_;
    std::uint64_t text_mask_;
    int text_shift_;
    int* assigned_;  // entries that have a level in the current group
    int nassigned_, assigned_capacity_;
    int last_;
};

/// A larger block with the first `count` elements of the old one, which is given back.
template <class T>
T* grown(Pool* pool, T* old, std::int64_t count, std::int64_t capacity) {
    T* larger = array<T>(pool, capacity);
    if (count > 0) std::memcpy(larger, old, static_cast<std::size_t>(count) * sizeof(T));
    vmfree_handler(pool, old);
    return larger;
}

}  // namespace vek
