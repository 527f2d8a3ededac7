// Stand-alone driver for fuzz targets when libFuzzer is not linked: feeds the
// target every file named on the command line, then a fixed number of
// pseudo-random mutations of them (deterministic seed), so each target gets a
// short smoke run under the sanitizers of the native build.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
    std::vector<std::vector<std::uint8_t>> seeds;
    long iterations = 20000;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg.rfind("-runs=", 0) == 0) {
            iterations = std::atol(arg.c_str() + 6);
            continue;
        }
        std::ifstream in(arg, std::ios::binary);
        seeds.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    if (seeds.empty()) seeds.emplace_back();
    for (const auto& s : seeds) LLVMFuzzerTestOneInput(s.data(), s.size());

    std::mt19937 rng(12345);
    for (long n = 0; n < iterations; ++n) {
        std::vector<std::uint8_t> data = seeds[rng() % seeds.size()];
        const int edits = 1 + static_cast<int>(rng() % 8);
        for (int e = 0; e < edits; ++e) {
            switch (rng() % 4) {
                case 0:
                    if (!data.empty()) data[rng() % data.size()] = static_cast<std::uint8_t>(rng());
                    break;
                case 1:
                    data.insert(data.begin() + static_cast<long>(data.empty() ? 0 : rng() % data.size()),
                                static_cast<std::uint8_t>(rng()));
                    break;
                case 2:
                    if (!data.empty()) data.erase(data.begin() + static_cast<long>(rng() % data.size()));
                    break;
                default:
                    if (!data.empty()) data.resize(rng() % (data.size() + 1));
                    break;
            }
        }
        LLVMFuzzerTestOneInput(data.data(), data.size());
    }
    std::printf("fuzz smoke: %zu seeds, %ld mutations\n", seeds.size(), iterations);
    return 0;
}
