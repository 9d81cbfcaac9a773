// Pools and utility files through the operations that the module calls.
#include <doctest/doctest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "frame/host_storage.h"
#include "host/message/log.h"
#include "host/session/options.h"
#include "host/session/session.h"
#include "host/storage/leave.h"
#include "host/storage/pool.h"
#include "host/storage/utility_file.h"

using namespace vek;

namespace {

/// A fresh step for each test, and nothing of it left behind.
struct StorageStep {
    StorageStep() {
        session().reset_for_test();
        begin_step_pools();
    }
    StorageStep(const StorageStep&) = delete;
    StorageStep& operator=(const StorageStep&) = delete;
    ~StorageStep() {
        session().reset_for_test();
        set_utility_budget(std::int64_t{2} << 30);
    }
};

UtilityFile* open_stream(const char* name = "test") {
    UtilityFile* file = nullptr;
    REQUIRE(xcopen(&file, name) == 0);
    return file;
}

template <class Action>
int left_with(Action action) {
    try {
        action();
    } catch (const Leave& leave) {
        return leave.code;
    }
    return 0;
}

struct Record {
    std::int64_t key;
    double value[4];
};

}  // namespace

TEST_CASE("pool: 20,000 blocks of random sizes keep their contents and do not overlap") {
    const StorageStep step;
    std::mt19937 random(7);
    Pool* pool = xmpoolc(nullptr, "blocks");
    struct Block {
        unsigned char* at;
        int size;
        unsigned char mark;
    };
    std::vector<Block> blocks;
    for (int i = 0; i < 20000; ++i) {
        const int size = i % 997 == 0 ? 70000 + i : static_cast<int>(random() % 300);
        auto* at = static_cast<unsigned char*>(vmalcp_handler(pool, size, memory_clear));
        REQUIRE(at != nullptr);
        REQUIRE(reinterpret_cast<std::uintptr_t>(at) % (size >= 4096 ? 64 : 16) == 0);
        for (int k = 0; k < size; ++k) REQUIRE(at[k] == 0);
        const auto mark = static_cast<unsigned char>(random() % 255 + 1);
        std::memset(at, mark, static_cast<std::size_t>(size));
        blocks.push_back({at, size, mark});
    }
    for (const Block& block : blocks) {
        for (int k = 0; k < block.size; ++k) REQUIRE(block.at[k] == block.mark);
    }
    xmpoold(pool);
}

TEST_CASE("pool: what a later pool takes over from a dropped one is cleared again") {
    const StorageStep step;
    for (const std::int64_t size : {100LL, 5000LL, 100000LL, 5000000LL}) {
        for (int round = 0; round < 3; ++round) {
            Pool* pool = xmpoolc(nullptr, "round");
            unsigned char* at = array<unsigned char>(pool, size);
            for (std::int64_t k = 0; k < size; ++k) REQUIRE(at[k] == 0);
            std::memset(at, 0xAB, static_cast<std::size_t>(size));
            xmpoold(pool);
        }
    }
}

TEST_CASE("pool: dropping a pool drops its children, and 100,000 rounds hold no more memory than one") {
    const StorageStep step;
    auto round = [] {
        Pool* pass = xmpoolc(nullptr, "pass");
        Pool* job = xmpoolc(pass, "job");
        Pool* other = xmpoolc(pass, "other");
        array<double>(job, 40);
        array<double>(pass, 3000);
        array<double>(other, 10);
        xmpoold(job);
        xmpoold(pass);
    };
    round();
    CHECK(living_pools() == 1);
    const std::int64_t held = pool_bytes();
    for (int i = 0; i < 100000; ++i) round();
    CHECK(living_pools() == 1);
    CHECK(pool_bytes() == held);
}

TEST_CASE("pool: a large block can be given back alone, a small one is left to its pool") {
    const StorageStep step;
    Pool* pool = xmpoolc(nullptr, "pass");
    double* small = array<double>(pool, 10);
    double* large = array<double>(pool, 1000000);
    double* other = array<double>(pool, 20000);
    other[19999] = 4;
    const std::int64_t before = pool_bytes();
    vmfree_handler(pool, large);
    vmfree_handler(pool, small);
    vmfree_handler(pool, nullptr);
    double* again = array<double>(pool, 1000000);
    CHECK(again == large);  // the reserve hands it out again
    CHECK(again[999999] == 0);
    CHECK(pool_bytes() == before);
    CHECK(other[19999] == 4);
    xmpoold(pool);
}

TEST_CASE("pool: a request that cannot be met is a null, or ends the run with 1016 and one message") {
    const StorageStep step;
    CHECK(vmalcp_handler(xmainpool(), std::int64_t{1} << 45, memory_clear) == nullptr);
    CHECK(xmemdef() > 0);
    xmemmsg(-1);
    CHECK(xmemdef() == 0);
    CHECK(vmalcp_handler(xmainpool(), -8, 0) == nullptr);
    xmemmsg(-1);
    CHECK(host_log().entries().empty());
    CHECK(left_with([] { array<double>(xmainpool(), -1); }) == 1016);
    CHECK(left_with([] { array<double>(xmainpool(), std::int64_t{1} << 50); }) == 1016);
    CHECK(left_with([] { array<double>(xmainpool(), std::int64_t{1} << 42); }) == 1016);
    CHECK(host_log().error_count() == 1);
}

TEST_CASE("pool: the host option MEMORY is a limit for the step, and what is given back can be asked for again") {
    session().reset_for_test();
    host_options().set("MEMORY", "10M");
    begin_step_pools();
    Pool* pool = xmpoolc(nullptr, "pass");
    void* six = vmalcp_handler(pool, 6 << 20, 0);
    CHECK(six != nullptr);
    CHECK(vmalcp_handler(pool, 6 << 20, 0) == nullptr);
    xmpoold(pool);
    CHECK(vmalcp_handler(nullptr, 6 << 20, 0) != nullptr);
    session().reset_for_test();
}

TEST_CASE("pool: the nth allocation fails, and only that one") {
    const StorageStep step;
    fail_allocation(3);
    CHECK(vmalcp_handler(nullptr, 8, 0) != nullptr);
    CHECK(vmalcp_handler(nullptr, 100000, 0) != nullptr);
    CHECK(vmalcp_handler(nullptr, 8, 0) == nullptr);
    CHECK(vmalcp_handler(nullptr, 8, 0) != nullptr);
    CHECK(allocation_count() == 4);
}

TEST_CASE("utility file: bytes come back as written, at noted positions, in memory and on disk") {
    for (const std::int64_t budget : {std::int64_t{2} << 30, std::int64_t{0}, std::int64_t{300} << 10}) {
        CAPTURE(budget);
        const StorageStep step;
        set_utility_budget(budget);
        UtilityFile* file = open_stream();
        std::mt19937 random(11);
        std::vector<unsigned char> model;
        struct Mark {
            FilePosition at;
            std::size_t offset;
        };
        std::vector<Mark> marks;
        while (model.size() < 3000000) {
            FilePosition position = 0;
            REQUIRE(xcnoted(file, &position) == 0);
            marks.push_back({position, model.size()});
            std::vector<unsigned char> piece(random() % 9000);
            for (unsigned char& byte : piece) byte = static_cast<unsigned char>(random());
            REQUIRE(xcput(file, piece.data(), static_cast<std::int64_t>(piece.size())) == 0);
            model.insert(model.end(), piece.begin(), piece.end());
        }
        for (int i = 0; i < 400; ++i) {
            const Mark& mark = marks[random() % marks.size()];
            const std::size_t length = std::min<std::size_t>(random() % 20000, model.size() - mark.offset);
            std::vector<unsigned char> read(length);
            REQUIRE(xcpntd(file, mark.at) == 0);
            REQUIRE(xcget(file, read.data(), static_cast<std::int64_t>(length)) == 0);
            REQUIRE(std::equal(read.begin(), read.end(), model.begin() + static_cast<std::ptrdiff_t>(mark.offset)));
            // Overwriting in the middle changes these bytes and no others.
            if (i % 4 == 0 && length > 0) {
                for (unsigned char& byte : read) byte = static_cast<unsigned char>(byte + 1);
                REQUIRE(xcpntd(file, mark.at) == 0);
                REQUIRE(xcput(file, read.data(), static_cast<std::int64_t>(length)) == 0);
                std::copy(read.begin(), read.end(), model.begin() + static_cast<std::ptrdiff_t>(mark.offset));
            }
        }
        std::vector<unsigned char> all(model.size());
        REQUIRE(xcpoint(file) == 0);
        REQUIRE(xcget(file, all.data(), static_cast<std::int64_t>(all.size())) == 0);
        CHECK(all == model);
        unsigned char one = 0;
        CHECK(xcread(file, &one, 1) == -1);
        CHECK((utility_bytes_on_disk() > 0) == (budget < 3000000));
    }
}

TEST_CASE("utility file: records granted in place are seen in the same order by views") {
    for (const std::int64_t budget : {std::int64_t{2} << 30, std::int64_t{100} << 10}) {
        // Records that fill a piece exactly, that leave a rest, and that are larger than a piece.
        for (const std::int64_t size :
             {std::int64_t{64}, std::int64_t{40}, std::int64_t{6400}, std::int64_t{3000008}}) {
            CAPTURE(budget);
            CAPTURE(size);
            const StorageStep step;
            set_utility_budget(budget);
            UtilityFile* file = open_stream();
            const int records = size > 1000000 ? 5 : 7000;
            int written = 0;
            while (written < records) {
                std::int64_t count = written % 3 == 0 ? 0 : 100;
                std::byte* at = xcgrant(file, size, &count);
                REQUIRE(at != nullptr);
                REQUIRE(count >= 1);
                count = std::min<std::int64_t>(count, records - written);
                for (std::int64_t i = 0; i < count; ++i) {
                    std::memset(at + i * size, static_cast<int>((written + i) % 251), static_cast<std::size_t>(size));
                    const std::int64_t key = written + i;
                    std::memcpy(at + i * size, &key, sizeof key);
                }
                REQUIRE(xccommit(file, size, count) == 0);
                written += static_cast<int>(count);
            }
            for (int pass = 0; pass < 2; ++pass) {
                REQUIRE(xcpoint(file) == 0);
                std::int64_t read = 0;
                std::int64_t count = 0;
                while (const std::byte* at = xcview(file, size, &count)) {
                    REQUIRE(count >= 1);
                    for (std::int64_t i = 0; i < count; ++i, ++read) {
                        std::int64_t key = 0;
                        std::memcpy(&key, at + i * size, sizeof key);
                        REQUIRE(key == read);
                        REQUIRE(at[i * size + size - 1] == static_cast<std::byte>(read % 251));
                    }
                }
                CHECK(count == 0);
                CHECK(read == records);
            }
        }
    }
}

TEST_CASE("utility file: rewinding and writing less leaves no tail of the group before") {
    const StorageStep step;
    UtilityFile* file = open_stream();
    std::vector<double> many(100000, 1.0);
    REQUIRE(xcput(file, many.data(), 100000) == 0);
    REQUIRE(xcpoint(file) == 0);
    // Reading after rewinding leaves the content: a later pass reads the records again.
    double first = 0;
    REQUIRE(xcget(file, &first) == 0);
    REQUIRE(xcpntd(file, 8 * 99999) == 0);
    REQUIRE(xcget(file, &first) == 0);
    REQUIRE(xcpoint(file) == 0);
    REQUIRE(xcput(file, many.data(), 10) == 0);
    CHECK(xcget(file, &first) == -1);
    CHECK(xcpntd(file, 8 * 99999) != 0);
}

TEST_CASE("utility file: 100,000 groups written and read again take no more memory than the largest") {
    const StorageStep step;
    UtilityFile* file = open_stream();
    std::vector<Record> group(20);
    std::int64_t after_first = 0;
    for (int g = 0; g < 100000; ++g) {
        REQUIRE(xcpoint(file) == 0);
        for (int i = 0; i < 20; ++i) group[static_cast<std::size_t>(i)].key = g * 20 + i;
        REQUIRE(xcput(file, group.data(), 20) == 0);
        REQUIRE(xcpoint(file) == 0);
        Record last{};
        for (int i = 0; i < 20; ++i) REQUIRE(xcget(file, &last) == 0);
        REQUIRE(last.key == g * 20 + 19);
        if (g == 0) after_first = utility_bytes_in_memory();
    }
    CHECK(utility_bytes_in_memory() == after_first);
    CHECK(after_first <= 64 << 10);
}

TEST_CASE("utility file: a record that grew from one group to the next finds room") {
    const StorageStep step;
    UtilityFile* file = open_stream();
    for (const std::int64_t size : {std::int64_t{100}, std::int64_t{200000}, std::int64_t{5000000}, std::int64_t{24}}) {
        REQUIRE(xcpoint(file) == 0);
        for (int i = 0; i < 10; ++i) {
            std::int64_t count = 1;
            std::byte* at = xcgrant(file, size, &count);
            REQUIRE(at != nullptr);
            std::memset(at, i, static_cast<std::size_t>(size));
            REQUIRE(xccommit(file, size, 1) == 0);
        }
        REQUIRE(xcpoint(file) == 0);
        int read = 0;
        std::int64_t count = 0;
        while (const std::byte* at = xcview(file, size, &count)) {
            for (std::int64_t i = 0; i < count; ++i, ++read) REQUIRE(at[i * size + size - 1] == std::byte(read));
        }
        CHECK(read == 10);
    }
}

TEST_CASE("utility file: the nth write fails with one message, and the file stays usable") {
    const StorageStep step;
    UtilityFile* file = open_stream();
    const double value = 1;
    fail_write(2);
    CHECK(xcput(file, &value) == 0);
    CHECK(xcput(file, &value) != 0);
    CHECK(xcput(file, &value) == 0);
    CHECK(host_log().error_count() == 1);
    fail_write(1);
    UtilityFile* refused = nullptr;
    CHECK(xcopen(&refused, "other") < 0);
}
