// Level numbers of several class variables become the level number of their combination: by an array of all cells while
// that is small, else by hash.
#pragma once

#include <cstdint>

#include "model/zgm.h"

namespace vek {

class CombinationTable {
  public:
    /// Prepares an empty table for combinations of n class variables.
    void open(Pool* pool, int n);
    /// A new BY group begins: takes the levels of the last one out, which `list` still holds.
    void begin_group(const LevelList& list);
    /// Makes room for class variables of so many levels; `list` holds the levels so far.
    void reserve(const int* class_levels, const LevelList& list);

    /// Level number of a combination, -1 when it has none; `enter` is then called with the new number.
    int find(const std::int16_t* key, const LevelList& list) const {
        if (cells_ != nullptr) return cells_[cell(key)];
        return slots_[slot_of(key, list)].level;
    }
    void enter(const std::int16_t* key, int level, const LevelList& list);

    /// With two class variables and an array of cells: the array and the shift of the first variable's number.
    const std::int16_t* pair_cells(int* shift) const {
        *shift = n_ == 2 ? shifts_[0] : 0;
        return n_ == 2 ? cells_ : nullptr;
    }

  private:
    struct Slot {
        std::uint32_t hash;
        std::int32_t level;  // -1 for a free slot
    };

    std::int64_t cell(const std::int16_t* key) const {
        std::int64_t place = 0;
        for (int v = 0; v < n_; ++v) place += std::int64_t{key[v]} << shifts_[v];
        return place;
    }
    std::uint32_t hash(const std::int16_t* key) const;
    std::uint32_t slot_of(const std::int16_t* key, const LevelList& list) const;
    void make_cells(const LevelList& list);
    void make_slots(const LevelList& list, std::uint32_t size);
    void put(const std::int16_t* key, int level);

    Pool* pool_;
    int n_;
    int* logs_;    // [n] of the number of levels there is room for
    int* shifts_;  // [n]
    std::int16_t* cells_;
    Slot* slots_;
    std::uint32_t slot_count_;
    int held_;  // levels in the slots
};

}  // namespace vek
