// Finds delimiters by comparing 32 bytes at a time; what is rare (quotes, carriage returns, zero bytes) is looked at
// only in the words where a first test has seen it.
#include "host/data/delimiter_index.h"

#include <bit>

#include "numeric/dispatch.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace vek {

namespace {

IndexFacts index_plain(const char* text, std::size_t size, char delimiter, std::uint32_t* ends) {
    IndexFacts facts;
    std::uint32_t* next = ends;
    bool quoted = false;
    for (std::size_t i = 0; i < size; ++i) {
        const char c = text[i];
        if (c == '"') {
            quoted = !quoted;
            ++facts.quotes;
        } else if (c == '\n') {
            ++facts.line_feeds;
            if (!quoted) {
                ++facts.line_ends;
                *next++ = static_cast<std::uint32_t>(i);
            }
        } else if (c == delimiter) {
            if (!quoted) *next++ = static_cast<std::uint32_t>(i);
        } else if (c == '\r') {
            facts.returns = true;
            if (!quoted && (i + 1 == size || text[i + 1] != '\n')) facts.lone_return = true;
        } else if (c == '\0') {
            facts.zero = true;
        }
        if (static_cast<unsigned char>(c) > 127) facts.beyond_ascii = true;
    }
    facts.in_quotes = quoted;
    facts.delimiters = static_cast<std::size_t>(next - ends);
    return facts;
}

#if defined(__x86_64__)

#define VEK_AVX2 [[gnu::target("avx2,popcnt,bmi,bmi2")]]

/// 64 bytes as two registers.
struct Bytes {
    __m256i low, high;
};

VEK_AVX2 inline std::uint64_t mask_of(__m256i low, __m256i high) {
    return static_cast<std::uint32_t>(_mm256_movemask_epi8(low)) |
           static_cast<std::uint64_t>(static_cast<std::uint32_t>(_mm256_movemask_epi8(high))) << 32;
}

VEK_AVX2 inline std::uint64_t equal_mask(Bytes bytes, __m256i what) {
    return mask_of(_mm256_cmpeq_epi8(bytes.low, what), _mm256_cmpeq_epi8(bytes.high, what));
}

/// Marks zero bytes, quotes and carriage returns.
VEK_AVX2 inline __m256i rare(__m256i half) {
    return _mm256_or_si256(_mm256_cmpeq_epi8(half, _mm256_setzero_si256()),
                           _mm256_or_si256(_mm256_cmpeq_epi8(half, _mm256_set1_epi8('"')),
                                           _mm256_cmpeq_epi8(half, _mm256_set1_epi8('\r'))));
}

/// Bit i of the result is the parity of bits 0 to i.
VEK_AVX2 inline std::uint64_t running_parity(std::uint64_t bits) {
    for (int by = 1; by < 64; by *= 2) bits ^= bits << by;
    return bits;
}

VEK_AVX2 IndexFacts index_avx2(const char* text, std::size_t size, char delimiter, std::uint32_t* ends) {
    IndexFacts facts;
    const __m256i delimiters = _mm256_set1_epi8(delimiter), feeds = _mm256_set1_epi8('\n');
    const __m256i quotes = _mm256_set1_epi8('"'), returns = _mm256_set1_epi8('\r'), zeros = _mm256_setzero_si256();
    __m256i every = zeros;
    std::uint32_t* next = ends;
    std::uint64_t quoted = 0;  // all ones while inside quotes
    for (std::size_t i = 0; i < size; i += 64) {
        Bytes bytes{_mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + i)),
                    _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + i + 32))};
        std::uint64_t taken = ~std::uint64_t{0};
        if (size - i < 64) {
            taken = (std::uint64_t{1} << (size - i)) - 1;
            // Blanks instead of what stands behind the end, so that it counts for nothing.
            alignas(32) char last[64];
            for (std::size_t k = 0; k < 64; ++k) last[k] = i + k < size ? text[i + k] : ' ';
            bytes = {_mm256_load_si256(reinterpret_cast<const __m256i*>(last)),
                     _mm256_load_si256(reinterpret_cast<const __m256i*>(last + 32))};
        }
        every = _mm256_or_si256(every, _mm256_or_si256(bytes.low, bytes.high));
        std::uint64_t feed = equal_mask(bytes, feeds);
        std::uint64_t found = (equal_mask(bytes, delimiters) & taken) | feed;
        const __m256i seen = _mm256_or_si256(rare(bytes.low), rare(bytes.high));
        facts.line_feeds += static_cast<std::size_t>(std::popcount(feed));
        if (_mm256_testz_si256(seen, seen) == 0 || quoted != 0) {
            const std::uint64_t quote = equal_mask(bytes, quotes);
            const std::uint64_t inside = running_parity(quote) ^ quoted;
            quoted = static_cast<std::uint64_t>(static_cast<std::int64_t>(inside) >> 63);
            facts.quotes += static_cast<std::size_t>(std::popcount(quote));
            const std::uint64_t carriage = equal_mask(bytes, returns);
            if (carriage != 0) {
                facts.returns = true;
                const std::uint64_t following =
                    feed >> 1 | static_cast<std::uint64_t>(i + 64 < size && text[i + 64] == '\n') << 63;
                if ((carriage & ~inside & ~following) != 0) facts.lone_return = true;
            }
            if (equal_mask(bytes, zeros) != 0) facts.zero = true;
            feed &= ~inside;
            found &= ~inside;
        }
        facts.line_ends += static_cast<std::size_t>(std::popcount(feed));
        // Eight at a time without a test, then as many more as there are.
        const int count = std::popcount(found);
        const auto base = static_cast<std::uint32_t>(i);
        for (int k = 0; k < count; k += 8) {
            VEK_UNROLL
            for (int j = 0; j < 8; ++j) {
                next[k + j] = base + static_cast<std::uint32_t>(std::countr_zero(found));
                found &= found - 1;
            }
        }
        next += count;
    }
    facts.in_quotes = quoted != 0;
    facts.beyond_ascii = _mm256_movemask_epi8(every) != 0;
    facts.delimiters = static_cast<std::size_t>(next - ends);
    return facts;
}

#endif

}  // namespace

IndexRoutine plain_index_routine() { return index_plain; }

IndexRoutine index_routine() {
#if defined(__x86_64__)
    static const bool vectors = instruction_set_runs(InstructionSet::avx2);
    if (vectors) return index_avx2;
#endif
    return index_plain;
}

}  // namespace vek
