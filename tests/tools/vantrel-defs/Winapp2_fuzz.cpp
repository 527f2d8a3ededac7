// Fuzz target: the winapp2.ini importer. Whatever the input, what it imports
// is only what our rules say exactly: every file rule passes the file-rule
// checks (so no wildcard folder and no critical folder), every registry rule
// parses and names no value-name wildcard, and the imported text checks clean
// apart from names the input itself repeats.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Definitions.h"
#include "Winapp2.h"

namespace {

// The input being tried, written out when a check fails.
std::string gInput;

void Fail(int line) {
    std::fprintf(stderr, "check at line %d failed for input of %zu bytes:\n", line, gInput.size());
    std::fwrite(gInput.data(), 1, gInput.size(), stderr);
    std::abort();
}
#define Require(condition) \
    do {                   \
        if (!(condition)) Fail(__LINE__); \
    } while (false)

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    gInput.assign(reinterpret_cast<const char*>(data), size);
    using namespace vantrel_defs;
    const ImportResult r = ImportWinapp2(std::string(reinterpret_cast<const char*>(data), size));
    Require(static_cast<int>(r.Imported.size()) <= r.Entries);
    for (const Definition& d : r.Imported) {
        Require(!d.FileRules.empty() || !d.RegistryRules.empty());
        for (const auto& f : d.FileRules) Require(FileRuleProblem(f).empty());
        for (const auto& g : d.RegistryRules) {
            Require(RegistryRuleProblem(g).empty());
            const auto bar = g.find(L'|');
            Require(bar == std::wstring::npos || g.find_first_of(L"*?", bar) == std::wstring::npos);
        }
    }
    std::vector<Diagnostic> errors;
    const auto parsed = ParseDefinitions(WriteDefinitions(r.Imported), errors);
    CheckDefinitions(parsed, errors);
    for (const auto& e : errors) Require(e.Message.rfind("duplicate name", 0) == 0);
    return 0;
}
