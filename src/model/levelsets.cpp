// find_levels: level numbers of a chunk, one level set after the other: class variables by their raw values, then
// combinations by the numbers just found. Levels are numbered at first appearance.
#include <algorithm>

#include "model/levelpass.h"
#include "model/zlvknt.h"

namespace vek {

namespace {

template <class T>
void grow(Pool* pool, T*& block, std::int64_t used, std::int64_t capacity, std::int64_t width = 1) {
    block = grown(pool, block, used * width, capacity * width);
}

/// Adds a level without activity; its number.
int add_level(LevelPass& pass, LevelSet& set, LevelList& list, bool combination) {
    const int level = list.count;
    if (level == set.capacity) {
        set.capacity = std::max(16, 2 * set.capacity);
        if (combination) {
            grow(pass.pool, list.key, level, set.capacity, set.nclass);
        } else {
            grow(pass.pool, list.order, level, set.capacity);
            grow(pass.pool, list.text, level, set.capacity);
            grow(pass.pool, list.raw, level, set.capacity);
            if (pass.frequency_order) grow(pass.pool, set.count, level, set.capacity);
        }
        grow(pass.pool, list.active, level, set.capacity, pass.words);
        grow(pass.pool, set.everywhere, level, set.capacity);
    }
    std::fill_n(list.active + std::ptrdiff_t{level} * pass.words, pass.words, std::uint64_t{0});
    set.everywhere[level] = 0;
    if (pass.frequency_order && !combination) set.count[level] = 0;
    ++set.incomplete;
    ++list.count;
    return level;
}

bool lower_raw(bool numeric, const RawValue& a, const RawValue& b) {
    return numeric ? a.number() < b.number() : std::memcmp(a.bytes, b.bytes, sizeof a.bytes) < 0;
}

/// A value without a level in this group gets one; -1 when there are too many.
template <class Value>
int new_value(LevelPass& pass, LevelSet& set, LevelList& list, ValueTable& values, ValueTable::Slot* slot, Value value,
              bool numeric) {
    int next = list.count;
    const int level = values.assign(slot, value, &next);
    if (level < 0) return -1;
    const RawValue& raw = values.raw();
    if (next > list.count) {
        add_level(pass, set, list, false);
        std::copy_n(values.text(), 16, list.text[level]);
        list.raw[level] = raw;
    } else if (lower_raw(numeric, raw, list.raw[level])) {
        list.raw[level] = raw;
    }
    return level;
}

template <class Value>
bool find_class_levels(LevelPass& pass, LevelSet& set, LevelList& list, ValueTable& values, const Value* column,
                       bool numeric) {
    for (int r = 0; r < pass.rows; ++r) {
        set.level[r] = 0;
        if (pass.type[r] < record_none) continue;
        ValueTable::Slot* slot = values.find(column[r]);
        int level = slot->level;
        if (level < 0) {
            level = new_value(pass, set, list, values, slot, column[r], numeric);
            if (level < 0) return false;
        }
        set.level[r] = static_cast<std::int16_t>(level);
    }
    return true;
}

bool find_class_variable(ModelBlock& zgm, LevelPass& pass, int i) {
    LevelSet& set = pass.sets[i];
    LevelList& list = zgm.levlists[i];
    const Column& column = pass.columns[pass.classplace[i]];
    if (column.number != nullptr)
        return find_class_levels(pass, set, list, pass.values[i], column.number + pass.start, true);
    return find_class_levels(pass, set, list, pass.values[i], column.text + pass.start, false);
}

/// Level of a combination, a new one when it has not been seen; -1 when there are too many.
int combination_level(LevelPass& pass, LevelSet& set, LevelList& list, CombinationTable& table,
                      const std::int16_t* key) {
    int level = table.find(key, list);
    if (level >= 0) return level;
    if (list.count == most_levels) return -1;
    level = add_level(pass, set, list, true);
    std::copy_n(key, set.nclass, list.key + std::ptrdiff_t{level} * set.nclass);
    table.enter(key, level, list);
    return level;
}

bool find_combination(ModelBlock& zgm, LevelPass& pass, int i) {
    LevelSet& set = pass.sets[i];
    LevelList& list = zgm.levlists[i];
    CombinationTable& table = pass.combinations[i];
    const int n = set.nclass;
    for (int v = 0; v < n; ++v) pass.class_levels[v] = zgm.levlists[set.classes[v]].count;
    table.reserve(pass.class_levels, list);
    std::int16_t* key = pass.key;
    int shift = 0;
    const std::int16_t* cells = table.pair_cells(&shift);
    const std::int16_t* first = pass.sets[set.classes[0]].level;
    const std::int16_t* second = pass.sets[set.classes[1]].level;
    for (int r = 0; r < pass.rows; ++r) {
        set.level[r] = 0;
        if (pass.type[r] < record_none) continue;
        int level = cells != nullptr ? cells[(std::ptrdiff_t{first[r]} << shift) + second[r]] : -1;
        if (level < 0) {
            for (int v = 0; v < n; ++v) key[v] = pass.sets[set.classes[v]].level[r];
            level = combination_level(pass, set, list, table, key);
            if (level < 0) return false;
        }
        set.level[r] = static_cast<std::int16_t>(level);
    }
    return true;
}

/// Marks the dependent variables of the chunk's rows as active at their levels. A level that has them all needs no
/// second look, and once no level is left that has not, whole chunks are passed over.
void mark_active(ModelBlock& zgm, LevelPass& pass, int i) {
    LevelSet& set = pass.sets[i];
    LevelList& list = zgm.levlists[i];
    for (int r = 0; r < pass.rows && set.incomplete > 0; ++r) {
        if (pass.type[r] < record_none) continue;
        const int level = set.level[r];
        if (set.everywhere[level] != 0) continue;
        std::uint64_t* active = list.active + std::ptrdiff_t{level} * pass.words;
        if (pass.type[r] == record_all) {
            std::copy_n(pass.all, pass.words, active);
            set.everywhere[level] = 1;
            --set.incomplete;
        } else {
            const std::uint64_t* present = pass.active + std::ptrdiff_t{r} * pass.words;
            for (int w = 0; w < pass.words; ++w) active[w] |= present[w];
        }
    }
}

void count_levels(const ModelBlock& zgm, LevelPass& pass, int i) {
    LevelSet& set = pass.sets[i];
    for (int r = 0; r < pass.rows; ++r) {
        if (pass.type[r] < record_none) continue;
        set.count[set.level[r]] += zgm.nfreq > 0 ? static_cast<std::int64_t>(pass.frequency[r]) : 1;
    }
}

}  // namespace

bool find_levels(ModelBlock& zgm, LevelPass& pass) {
    for (int i = 0; i < zgm.nlevset; ++i) {
        const bool class_variable = i < zgm.nclass;
        if (!(class_variable ? find_class_variable(zgm, pass, i) : find_combination(zgm, pass, i))) return false;
        if (class_variable && pass.frequency_order) count_levels(zgm, pass, i);
        mark_active(zgm, pass, i);
    }
    return true;
}

}  // namespace vek
