// zlst: small lists compared as sets. The lists are variable indexes of an effect, a handful each, so plain searches
// do.
#include "model/zlst.h"

#include <algorithm>

namespace vek {

namespace {

bool all_within(std::span<const int> a, std::span<const int> b) {
    return std::all_of(a.begin(), a.end(), [b](int item) { return std::find(b.begin(), b.end(), item) != b.end(); });
}

bool has_class_variable(const Effect& e, int variable) {
    return std::find(e.cross, e.cross + e.ncross, variable) != e.cross + e.ncross ||
           std::find(e.nest, e.nest + e.nnest, variable) != e.nest + e.nnest;
}

bool class_part_within(const Effect& a, const Effect& b) {
    const auto in_b = [&b](int variable) { return has_class_variable(b, variable); };
    return std::all_of(a.cross, a.cross + a.ncross, in_b) && std::all_of(a.nest, a.nest + a.nnest, in_b);
}

int set_relation(bool a_within, bool b_within) {
    if (a_within && b_within) return sets_equal;
    if (a_within) return set_within;
    return b_within ? set_around : sets_differ;
}

}  // namespace

int zlstcmp(std::span<const int> a, std::span<const int> b) { return set_relation(all_within(a, b), all_within(b, a)); }

int zlstmem(std::span<const int> list, int item) {
    return static_cast<int>(std::find(list.begin(), list.end(), item) - list.begin());
}

int zlstmel(std::span<const std::string_view> list, std::string_view item) {
    return static_cast<int>(std::find(list.begin(), list.end(), item) - list.begin());
}

int zlstjn(std::span<const int> a, int* outa, std::span<const int> b, int* outb) {
    int pairs = 0;
    for (int i = 0; i < static_cast<int>(a.size()); ++i) {
        for (int j = 0; j < static_cast<int>(b.size()); ++j) {
            if (a[static_cast<std::size_t>(i)] != b[static_cast<std::size_t>(j)]) continue;
            if (outa != nullptr) outa[pairs] = i;
            if (outb != nullptr) outb[pairs] = j;
            ++pairs;
        }
    }
    return pairs;
}

int EffectCompare(const Effect& a, const Effect& b) {
    const std::span<const int> acont(a.cont, static_cast<std::size_t>(a.ncont));
    const std::span<const int> bcont(b.cont, static_cast<std::size_t>(b.ncont));
    if (zlstcmp(acont, bcont) != sets_equal) return sets_differ;
    return set_relation(class_part_within(a, b), class_part_within(b, a));
}

}  // namespace vek
