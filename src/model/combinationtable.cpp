// CombinationTable: an array with a cell for each combination that the class variables allow, its sides powers of two
// that grow with their levels; beyond most_cells_log an open hash of at most half full slots.
#include "model/combinationtable.h"

#include <algorithm>
#include <cstring>

#include "model/valuetable.h"

namespace vek {

namespace {

constexpr int most_cells_log = 18;
constexpr std::uint32_t first_slots = 64;

}  // namespace

void CombinationTable::open(Pool* pool, int n) {
    *this = CombinationTable{};
    pool_ = pool;
    n_ = n;
    logs_ = array<int>(pool, n);
    shifts_ = array<int>(pool, n);
}

void CombinationTable::begin_group(const LevelList& list) {
    if (cells_ != nullptr) {
        for (int level = 0; level < list.count; ++level) cells_[cell(list.key + std::ptrdiff_t{level} * n_)] = -1;
    } else if (slots_ != nullptr) {
        for (std::uint32_t k = 0; k < slot_count_; ++k) slots_[k].level = -1;
        held_ = 0;
    }
}

void CombinationTable::reserve(const int* class_levels, const LevelList& list) {
    if (slots_ != nullptr) return;
    bool enough = cells_ != nullptr;
    int total = 0;
    for (int v = 0; v < n_; ++v) {
        while ((1 << logs_[v]) < class_levels[v]) {
            ++logs_[v];
            enough = false;
        }
        total += logs_[v];
    }
    if (enough) return;
    if (total > most_cells_log) {
        vmfree_handler(pool_, cells_);
        cells_ = nullptr;
        make_slots(list, first_slots);
    } else {
        make_cells(list);
    }
}

void CombinationTable::make_cells(const LevelList& list) {
    int total = 0;
    for (int v = n_ - 1; v >= 0; --v) {
        shifts_[v] = total;
        total += logs_[v];
    }
    vmfree_handler(pool_, cells_);
    cells_ = array<std::int16_t>(pool_, std::int64_t{1} << total);
    std::fill_n(cells_, std::int64_t{1} << total, std::int16_t{-1});
    for (int level = 0; level < list.count; ++level)
        cells_[cell(list.key + std::ptrdiff_t{level} * n_)] = static_cast<std::int16_t>(level);
}

void CombinationTable::make_slots(const LevelList& list, std::uint32_t size) {
    while (size < 2 * static_cast<std::uint32_t>(list.count + 1)) size *= 2;
    vmfree_handler(pool_, slots_);
    slots_ = array<Slot>(pool_, size);
    slot_count_ = size;
    for (std::uint32_t k = 0; k < size; ++k) slots_[k].level = -1;
    for (int level = 0; level < list.count; ++level) put(list.key + std::ptrdiff_t{level} * n_, level);
    held_ = list.count;
}

std::uint32_t CombinationTable::hash(const std::int16_t* key) const {
    std::uint64_t bits = 0;
    for (int v = 0; v < n_; ++v) bits = (bits ^ static_cast<std::uint16_t>(key[v])) * 0x9E3779B97F4A7C15U;
    return static_cast<std::uint32_t>(bits >> 32);
}

void CombinationTable::put(const std::int16_t* key, int level) {
    const std::uint32_t h = hash(key);
    std::uint32_t k = h;
    while (slots_[k & (slot_count_ - 1)].level >= 0) ++k;
    slots_[k & (slot_count_ - 1)] = {h, level};
}

std::uint32_t CombinationTable::slot_of(const std::int16_t* key, const LevelList& list) const {
    const std::uint32_t h = hash(key);
    for (std::uint32_t k = h;; ++k) {
        const Slot& slot = slots_[k & (slot_count_ - 1)];
        if (slot.level < 0) return k & (slot_count_ - 1);
        if (slot.hash != h) continue;
        const std::int16_t* other = list.key + std::ptrdiff_t{slot.level} * n_;
        if (std::memcmp(other, key, static_cast<std::size_t>(n_) * sizeof *key) == 0) return k & (slot_count_ - 1);
    }
}

void CombinationTable::enter(const std::int16_t* key, int level, const LevelList& list) {
    if (cells_ != nullptr) {
        cells_[cell(key)] = static_cast<std::int16_t>(level);
        return;
    }
    put(key, level);
    if (2 * static_cast<std::uint32_t>(++held_) > slot_count_) make_slots(list, 2 * slot_count_);
}

}  // namespace vek
