// order_levels: the levels of each class variable in the order that ORDER= asks for, and their texts without the blanks
// that do not tell them apart.
#include <algorithm>
#include <cstring>
#include <string_view>

#include "frame/host_message.h"
#include "frame/text.h"
#include "model/levelpass.h"

namespace vek {

namespace {

constexpr std::size_t text_width = 16;

std::string_view level_text(const LevelList& list, int level) { return {list.text[level], text_width}; }

/// Sorts the level numbers; `before` compares two of them.
template <class Before>
void sort_levels(LevelList& list, const Before& before) {
    std::sort(list.order, list.order + list.count, [&](std::int16_t a, std::int16_t b) { return before(a, b); });
}

bool text_before(const LevelList& list, int a, int b) {
    return std::memcmp(list.text[a], list.text[b], text_width) < 0;
}

/// By raw value; the formatted text decides between texts that begin with the same 16 characters.
bool raw_before(const LevelList& list, bool numeric, int a, int b) {
    if (numeric) return list.raw[a].number() < list.raw[b].number();
    const int order = std::memcmp(list.raw[a].bytes, list.raw[b].bytes, text_width);
    return order != 0 ? order < 0 : text_before(list, a, b);
}

/// An unformatted numeric variable is in the order of its values, whatever their texts. A note tells when that differs,
/// once for the variable and not again for each BY group.
void sort_by_text(LevelList& list, LevelSet& set, const ClassInfo& info) {
    const auto by_text = [&](int a, int b) { return text_before(list, a, b); };
    if (!set.unformatted) {
        sort_levels(list, by_text);
        return;
    }
    sort_levels(list, [&](int a, int b) { return raw_before(list, true, a, b); });
    if (set.order_noted || std::is_sorted(list.order, list.order + list.count, by_text)) return;
    set.order_noted = true;
    xpslog(
        "The order of the levels of the classification variable %.*s has changed from that of releases 7.01 and "
        "earlier.",
        info.namelen, info.name);
}

void sort_class_levels(const ModelBlock& zgm, LevelPass& pass, int i) {
    LevelList& list = zgm.levlists[i];
    LevelSet& set = pass.sets[i];
    const bool numeric = zgm.classes[i].type == VariableType::numeric;
    for (int k = 0; k < list.count; ++k) list.order[k] = static_cast<std::int16_t>(k);
    const std::string_view order = zgm.order;
    if (order == "DAT") return;
    if (order == "INT") {
        sort_levels(list, [&](int a, int b) { return raw_before(list, numeric, a, b); });
    } else if (order == "FRE") {
        sort_levels(list, [&](int a, int b) {
            return set.count[a] != set.count[b] ? set.count[a] > set.count[b] : raw_before(list, numeric, a, b);
        });
    } else {
        sort_by_text(list, set, zgm.classes[i]);
    }
}

std::size_t leading_blanks(std::string_view text) { return std::min(text.find_first_not_of(' '), text.size()); }

std::string_view without_leading_blanks(const LevelList& list, int level) { return wzstjus(level_text(list, level)); }

/// True when two levels have the same text but for leading blanks.
bool blanks_tell_apart(Pool* pool, const LevelList& list) {
    Pool* job = xmpoolc(pool, "texts");
    auto* levels = array<std::int16_t>(job, list.count);
    std::copy_n(list.order, list.count, levels);
    std::sort(levels, levels + list.count,
              [&](int a, int b) { return without_leading_blanks(list, a) < without_leading_blanks(list, b); });
    bool twice = false;
    for (int k = 1; k < list.count; ++k)
        twice |= without_leading_blanks(list, levels[k - 1]) == without_leading_blanks(list, levels[k]);
    xmpoold(job);
    return twice;
}

void shift_left(char* text, std::size_t blanks) {
    std::memmove(text, text + blanks, text_width - blanks);
    std::memset(text + text_width - blanks, ' ', blanks);
}

/// Place behind the last character that is neither blank nor zero, at least 1; what follows becomes blank.
int trim(char* text) {
    std::size_t length = text_width;
    while (length > 1 && (text[length - 1] == ' ' || text[length - 1] == '\0')) --length;
    std::memset(text + length, ' ', text_width - length);
    return static_cast<int>(length);
}

/// Left-justifies the level texts. Where that would make two of them alike, only the blanks that all have go.
void justify_texts(const ModelBlock& zgm, int i, Pool* pool) {
    LevelList& list = zgm.levlists[i];
    std::size_t fewest = text_width, most = 0;
    for (int k = 0; k < list.count; ++k) {
        const std::size_t blanks = leading_blanks(level_text(list, k));
        fewest = std::min(fewest, blanks);
        most = std::max(most, blanks);
    }
    const bool common_only = most > 0 && blanks_tell_apart(pool, list);
    int width = 0;
    for (int k = 0; k < list.count; ++k) {
        if (most > 0) shift_left(list.text[k], common_only ? fewest : leading_blanks(level_text(list, k)));
        width = std::max(width, trim(list.text[k]));
    }
    ClassInfo& info = zgm.classes[i];
    info.fmtwidth = width;
    info.colwidth = std::max(width, info.namelen);
}

}  // namespace

void order_levels(ModelBlock& zgm, LevelPass& pass) {
    for (int i = 0; i < zgm.nclass; ++i) {
        sort_class_levels(zgm, pass, i);
        justify_texts(zgm, i, pass.pool);
        zgm.nlev[i] = zgm.levlists[i].count;
    }
    for (int i = zgm.nclass; i < zgm.nlevset; ++i) zgm.nlev[i] = zgm.levlists[i].count;
}

}  // namespace vek
