// ValueTable: open addressing, at most half full. The hot search stands in the header; here is what happens when a
// value is met for the first time, in the run or in the BY group.
#include "model/valuetable.h"

#include <algorithm>

#include "model/zlvknt.h"

namespace vek {

namespace {

constexpr int first_slots_log = 5;
/// A table that has more values than this when a group begins forgets them: they are many groups' own.
constexpr int most_kept_values = 1 << 16;

}  // namespace

ValueKey key_of_long(TextValue text) {
    std::uint64_t bits = static_cast<std::uint64_t>(text.length), piece = 0;
    for (int at = 0; at < text.length; at += 8) {
        const int bytes = std::min(8, text.length - at);
        piece = 0;
        std::memcpy(&piece, text.data + at, static_cast<std::size_t>(bytes));
        bits = (bits ^ piece) * 0x9E3779B97F4A7C15U;
        bits ^= bits >> 32;
    }
    return {bits, 0, long_text};
}

void ValueTable::open(Pool* pool, const DataSet* data, int variable) {
    *this = ValueTable{};
    pool_ = pool;
    data_ = data;
    variable_ = variable;
    clear();
}

void ValueTable::clear() {
    const auto make_slots = [](int log, std::uint64_t* mask, int* shift) {
        *mask = (std::uint64_t{1} << log) - 1;
        *shift = 64 - log;
    };
    vmfree_handler(pool_, slots_);
    vmfree_handler(pool_, text_slots_);
    make_slots(first_slots_log, &mask_, &shift_);
    make_slots(first_slots_log, &text_mask_, &text_shift_);
    slots_ = array<Slot>(pool_, static_cast<std::int64_t>(mask_ + 1));
    for (std::uint64_t k = 0; k <= mask_; ++k) slots_[k] = {0, 0, -1, 0, unassigned};
    text_slots_ = array<std::int32_t>(pool_, static_cast<std::int64_t>(text_mask_ + 1));
    std::fill_n(text_slots_, text_mask_ + 1, -1);
    nentries_ = ntexts_ = nassigned_ = 0;
}

void ValueTable::begin_group() {
    if (nentries_ > most_kept_values) {
        clear();
        return;
    }
    for (int k = 0; k < nassigned_; ++k) {
        const Entry& entry = entries_[assigned_[k]];
        slots_[entry.slot].level = unassigned;
        texts_[entry.text].level = unassigned;
    }
    nassigned_ = 0;
}

bool ValueTable::same_long(const Slot& slot, TextValue text) const {
    const Entry& entry = entries_[slot.entry];
    return entry.length == text.length &&
           std::memcmp(entry.whole, text.data, static_cast<std::size_t>(text.length)) == 0;
}

int ValueTable::enter(Slot* slot, double number) {
    if (slot->entry >= 0) return slot->entry;
    char formatted[16];
    xvfmtl(data_, variable_, number, formatted);
    RawValue raw{};
    std::memcpy(raw.bytes, &number, sizeof number);
    return add_entry(slot, key_of(number), raw, formatted);
}

int ValueTable::enter(Slot* slot, TextValue text) {
    if (slot->entry >= 0) return slot->entry;
    char formatted[16];
    xvfmtc(data_, variable_, text, formatted);
    RawValue raw;
    std::fill_n(raw.bytes, 16, ' ');
    std::copy_n(text.data, std::min(text.length, 16), raw.bytes);
    const int entry = add_entry(slot, key_of(text), raw, formatted);
    if (text.length > 16) {
        char* whole = array<char>(pool_, text.length);
        std::copy_n(text.data, text.length, whole);
        entries_[entry].whole = whole;
        entries_[entry].length = text.length;
    }
    return entry;
}

int ValueTable::add_entry(Slot* slot, const ValueKey& key, const RawValue& raw, const char* formatted) {
    if (nentries_ == entry_capacity_) {
        entry_capacity_ = std::max(16, 2 * entry_capacity_);
        entries_ = grown(pool_, entries_, nentries_, entry_capacity_);
    }
    const int entry = nentries_++;
    const auto place = static_cast<std::uint32_t>(slot - slots_);
    entries_[entry] = {raw, nullptr, 0, find_text(formatted), place};
    *slot = {key.low, key.high, entry, static_cast<std::int16_t>(key.length), unassigned};
    if (2 * static_cast<std::uint64_t>(nentries_) > mask_) grow_slots();
    return entry;
}

void ValueTable::grow_slots() {
    Slot* old = slots_;
    const std::uint64_t old_mask = mask_;
    mask_ = 2 * mask_ + 1;
    --shift_;
    slots_ = array<Slot>(pool_, static_cast<std::int64_t>(mask_ + 1));
    for (std::uint64_t k = 0; k <= mask_; ++k) slots_[k] = {0, 0, -1, 0, unassigned};
    for (std::uint64_t k = 0; k <= old_mask; ++k) {
        if (old[k].entry < 0) continue;
        std::uint64_t h = mix(old[k].low, old[k].high) >> shift_;
        while (slots_[h & mask_].entry >= 0) ++h;
        slots_[h & mask_] = old[k];
        entries_[old[k].entry].slot = static_cast<std::uint32_t>(h & mask_);
    }
    vmfree_handler(pool_, old);
}

int ValueTable::find_text(const char* formatted) {
    std::uint64_t low = 0, high = 0;
    std::memcpy(&low, formatted, 8);
    std::memcpy(&high, formatted + 8, 8);
    std::uint64_t h = mix(low, high) >> text_shift_;
    for (;; ++h) {
        const std::int32_t k = text_slots_[h & text_mask_];
        if (k < 0) break;
        if (std::memcmp(texts_[k].text, formatted, 16) == 0) return k;
    }
    if (ntexts_ == text_capacity_) {
        text_capacity_ = std::max(16, 2 * text_capacity_);
        texts_ = grown(pool_, texts_, ntexts_, text_capacity_);
    }
    std::memcpy(texts_[ntexts_].text, formatted, 16);
    texts_[ntexts_].level = unassigned;
    text_slots_[h & text_mask_] = ntexts_++;
    if (2 * static_cast<std::uint64_t>(ntexts_) > text_mask_) grow_text_slots();
    return ntexts_ - 1;
}

void ValueTable::grow_text_slots() {
    vmfree_handler(pool_, text_slots_);
    text_mask_ = 2 * text_mask_ + 1;
    --text_shift_;
    text_slots_ = array<std::int32_t>(pool_, static_cast<std::int64_t>(text_mask_ + 1));
    std::fill_n(text_slots_, text_mask_ + 1, -1);
    for (int k = 0; k < ntexts_; ++k) {
        std::uint64_t low = 0, high = 0;
        std::memcpy(&low, texts_[k].text, 8);
        std::memcpy(&high, texts_[k].text + 8, 8);
        std::uint64_t h = mix(low, high) >> text_shift_;
        while (text_slots_[h & text_mask_] >= 0) ++h;
        text_slots_[h & text_mask_] = k;
    }
}

int ValueTable::assign_level(int entry, int* next) {
    last_ = entry;
    Text& text = texts_[entries_[entry].text];
    if (text.level == unassigned) {
        if (*next == most_levels) return -1;
        text.level = (*next)++;
    }
    if (nassigned_ == assigned_capacity_) {
        assigned_capacity_ = std::max(16, 2 * assigned_capacity_);
        assigned_ = grown(pool_, assigned_, nassigned_, assigned_capacity_);
    }
    assigned_[nassigned_++] = entry;
    slots_[entries_[entry].slot].level = static_cast<std::int16_t>(text.level);
    return text.level;
}

}  // namespace vek
