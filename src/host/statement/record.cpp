// Fills the slots of statement records; all memory is the step's main pool, so that nothing has to be freed.
#include "host/statement/record.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "frame/host_statement.h"
#include "frame/host_storage.h"
#include "host/data/formats.h"

namespace vek {

namespace {

constexpr int first_capacity = 8;

/// Room for one more element. The capacity follows from the count: 8, then powers of two. A list that was cut back by
/// an undo has more room than that, which is harmless.
template <class T>
requires std::is_trivially_copyable_v<T> T* grow(Slot& slot) {
    const int n = slot.count;
    const bool full = n == 0 || (n >= first_capacity && (n & (n - 1)) == 0);
    if (full) {
        T* larger = array<T>(xmainpool(), n == 0 ? first_capacity : 2 * n);
        if (n > 0) std::memcpy(larger, slot.list, static_cast<std::size_t>(n) * sizeof(T));
        slot.list = larger;
    }
    slot.type = slot_given;
    ++slot.count;
    return static_cast<T*>(slot.list) + n;
}

char* pool_copy(std::string_view text) {
    char* copy = array<char>(xmainpool(), static_cast<std::int64_t>(text.size()) + 1);
    std::copy(text.begin(), text.end(), copy);
    return copy;
}

}  // namespace

Statement* begin_record(Proc* proc, std::string_view name, int highest) {
    Statement* record = object<Statement>(xmainpool());
    std::memset(record->name, ' ', sizeof record->name - 1);
    std::copy_n(name.begin(), std::min(name.size(), sizeof record->name - 1), record->name);
    record->highest = highest;
    record->args = array<Slot>(xmainpool(), highest + 1);
    std::uninitialized_fill_n(record->args, highest + 1, Slot{});
    if (proc->head == nullptr) {
        proc->head = record;
    } else {
        Statement* end = proc->last != nullptr ? proc->last : proc->head;
        while (end->next != nullptr) end = end->next;
        end->next = record;
    }
    proc->last = record;
    return record;
}

Statement* zstmtfr(Proc* proc, Statement* record) {
    Statement* before = nullptr;
    for (Statement* s = proc->head; s != nullptr && s != record; s = s->next) before = s;
    if (before != nullptr) {
        before->next = record->next;
    } else if (proc->head == record) {
        proc->head = record->next;
    }
    if (proc->last == record) proc->last = before;
    return before;
}

void append_integer(Slot& slot, int value) { *grow<int>(slot) = value; }
void append_number(Slot& slot, double value) { *grow<double>(slot) = value; }
void append_effect(Slot& slot, Effect* effect) { *grow<Effect*>(slot) = effect; }

void append_name(Slot& slot, std::string_view name) {
    *grow<std::string_view>(slot) = std::string_view(pool_copy(name), name.size());
}

void append_level(Slot& slot, std::string_view text) {
    constexpr std::size_t width = sizeof(LevelText) - 1;
    char* cell = *grow<LevelText>(slot);
    const std::string_view cut = cut_text(text, width);
    std::memset(cell, ' ', width);
    std::copy(cut.begin(), cut.end(), cell);
    cell[width] = '\0';
}

void set_text(Slot& slot, std::string_view text) {
    slot.type = slot_given;
    slot.count = static_cast<int>(text.size());
    slot.list = pool_copy(text);
}

void set_number(Slot& slot, double value) {
    slot.type = slot_given;
    slot.value = value;
}

void set_code(Slot& slot, int code) {
    slot.count = 0;
    append_integer(slot, code);
    slot.value = code;
}

std::string describe(const Statement& statement, std::span<const SlotView> view) {
    std::string text(statement.name);
    text.erase(text.find_last_not_of(' ') + 1);
    std::string bits;
    for (int bit = 0; bit < static_cast<int>(sizeof statement.flags) * 8; ++bit) {
        if (statement.option(bit)) bits += fmt::format(" {}", bit);
    }
    if (!bits.empty()) text.append(" bits").append(bits);
    for (const SlotView& v : view) {
        const Slot& slot = statement.slot(v.slot);
        if (!slot.given()) continue;
        text += fmt::format(" | {}:", v.slot);
        switch (v.kind) {
            case SlotKind::number:
                text += fmt::format(" {}", slot.value);
                break;
            case SlotKind::integers:
                for (const int i : slot.codes()) text += fmt::format(" {}", i);
                break;
            case SlotKind::numbers:
                for (const double d : slot.numbers()) text += fmt::format(" {}", d);
                break;
            case SlotKind::effects:
                for (const Effect* e : slot.effects()) text += fmt::format(" {}", e->text());
                break;
            case SlotKind::names:
                for (const std::string_view n : slot.names()) text += fmt::format(" {}", n);
                break;
            case SlotKind::levels:
                for (const LevelText& l : slot.levels()) {
                    std::string_view level(l, sizeof(LevelText) - 1);
                    level = level.substr(0, level.find_last_not_of(' ') + 1);
                    text += fmt::format(" '{}'", level);
                }
                break;
            case SlotKind::text:
                text += fmt::format(" \"{}\"", slot.text());
                break;
            case SlotKind::data:
                text += slot.type == slot_output ? " output" : " input";
                break;
        }
    }
    return text;
}

}  // namespace vek
