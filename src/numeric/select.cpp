// Partial quick sort: turns an array, and a companion that follows its exchanges, into one whose wanted order
// statistics stand in their places.
#include "numeric/select.h"

#include <cstring>
#include <utility>

namespace vek {

namespace {

struct Keyed {
    double* x;
    char* companion;
    std::size_t width;

    void exchange(std::ptrdiff_t i, std::ptrdiff_t j) const {
        if (i == j) return;
        std::swap(x[i], x[j]);
        if (companion == nullptr) return;
        char* p = companion + static_cast<std::size_t>(i) * width;
        char* q = companion + static_cast<std::size_t>(j) * width;
        char buffer[64];
        for (std::size_t left = width; left > 0;) {
            const std::size_t part = left < sizeof buffer ? left : sizeof buffer;
            std::memcpy(buffer, p, part);
            std::memcpy(p, q, part);
            std::memcpy(q, buffer, part);
            p += part;
            q += part;
            left -= part;
        }
    }
};

// Restores the heap of the elements first to end - 1 below the element at `place`, counted from first.
void sift(const Keyed& keyed, std::ptrdiff_t first, std::ptrdiff_t place, std::ptrdiff_t size) {
    for (;;) {
        std::ptrdiff_t child = 2 * place + 1;
        if (child >= size) return;
        if (child + 1 < size && keyed.x[first + child] < keyed.x[first + child + 1]) ++child;
        if (!(keyed.x[first + place] < keyed.x[first + child])) return;
        keyed.exchange(first + place, first + child);
        place = child;
    }
}

void heap_sort(const Keyed& keyed, std::ptrdiff_t first, std::ptrdiff_t end) {
    const std::ptrdiff_t size = end - first;
    for (std::ptrdiff_t place = size / 2; place-- > 0;) sift(keyed, first, place, size);
    for (std::ptrdiff_t last = size - 1; last > 0; --last) {
        keyed.exchange(first, first + last);
        sift(keyed, first, 0, last);
    }
}

// Puts a median of three into the first, middle and last place in order, and returns its value.
double median_of_three(const Keyed& keyed, std::ptrdiff_t first, std::ptrdiff_t last) {
    const std::ptrdiff_t middle = first + (last - first) / 2;
    if (keyed.x[middle] < keyed.x[first]) keyed.exchange(first, middle);
    if (keyed.x[last] < keyed.x[first]) keyed.exchange(first, last);
    if (keyed.x[last] < keyed.x[middle]) keyed.exchange(middle, last);
    return keyed.x[middle];
}

// Places the wanted positions that lie from first to last; `splits` bounds the depth.
void place(const Keyed& keyed, std::ptrdiff_t first, std::ptrdiff_t last, const std::ptrdiff_t* wanted,
           const std::ptrdiff_t* wanted_end, int splits) {
    while (wanted != wanted_end && first < last) {
        if (splits-- == 0) {
            heap_sort(keyed, first, last + 1);
            return;
        }
        const double pivot = median_of_three(keyed, first, last);
        std::ptrdiff_t i = first, j = last;
        while (i <= j) {
            while (keyed.x[i] < pivot) ++i;
            while (keyed.x[j] > pivot) --j;
            if (i <= j) keyed.exchange(i++, j--);
        }
        // Elements first to j are at most the pivot, i to last at least; one between is the pivot, in its place.
        const std::ptrdiff_t* below_end = wanted;
        while (below_end != wanted_end && *below_end <= j) ++below_end;
        const std::ptrdiff_t* above = below_end;
        while (above != wanted_end && *above < i) ++above;
        place(keyed, first, j, wanted, below_end, splits);
        wanted = above;
        first = i;
    }
}

}  // namespace

int zqpsort(std::ptrdiff_t n, double* x, std::ptrdiff_t wanted, const std::ptrdiff_t* positions, double* values,
            void* companion, std::size_t width) {
    if (n < 1 || wanted < 1) return -1;
    for (std::ptrdiff_t k = 0; k < wanted; ++k)
        if (positions[k] < 0 || positions[k] >= n || (k > 0 && positions[k] < positions[k - 1])) return -1;
    int splits = 4;
    for (std::ptrdiff_t size = n; size > 1; size /= 2) splits += 2;
    place(Keyed{x, static_cast<char*>(companion), width}, 0, n - 1, positions, positions + wanted, splits);
    for (std::ptrdiff_t k = 0; k < wanted; ++k) values[k] = x[positions[k]];
    return 0;
}

}  // namespace vek
