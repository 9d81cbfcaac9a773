// The statement engine under libFuzzer: the bytes are a program, which must end with messages that hold, read as a file
// and with statements taken back. tests/host/statements/corpus is where to begin, and where what it finds is kept.
//
//     cmake -B build-fuzz -DCMAKE_CXX_COMPILER=clang++ -DVEK_FUZZ=ON && cmake --build build-fuzz --target
//     fuzz_statements cd SCRATCH; build-fuzz/tests/fuzz/fuzz_statements -max_len=2000 FOLDER
//     tests/host/statements/corpus
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/statement_laws.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string program(reinterpret_cast<const char*>(data), size);
    for (const bool interactive : {false, true}) {
        const std::string law = vek::test::broken_law(program, interactive);
        if (law.empty()) continue;
        std::fprintf(stderr, "%s\n", law.c_str());
        std::abort();
    }
    return 0;
}
