// Fuzz target: the definitions readers. An even first byte makes the rest an
// Applications.dat: reading it may fail with vt::Exception, never crash, and
// GetCount agrees with the number of records GetNext hands out. An odd first
// byte makes the rest a definitions text: what parses and checks clean
// compiles, and the compiled file decompiles to the same definitions.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Definitions.h"
#include "categories/applications/PluginsFile.h"
#include "runtime/Exception.h"
#include "runtime/FileSystem.h"
#include "services/TempFolder.h"

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

const std::wstring& FilePath() {
    static const vt::test::TempFolder folder;
    static const std::wstring path = [] {
        vt::ForceDirectories(folder.Root());
        return folder.Path(L"Applications.dat");
    }();
    return path;
}

void ReadDat(const std::vector<std::uint8_t>& bytes) {
    Require(vt::WriteWholeFile(FilePath(), bytes));
    vt::TPluginsFile file(FilePath());
    int read = 0;
    bool failed = false;
    try {
        vt::TPluginRecord record;
        vt::StringList lines;
        for (bool first = true; file.GetNext(record, lines, first); first = false) ++read;
    } catch (const vt::Exception&) {
        failed = true;
    }
    try {
        const int count = file.GetCount();
        Require(failed || count == read);
    } catch (const vt::Exception&) {
        Require(failed || read >= 0);
    }
}

bool SameDefinitions(const vantrel_defs::Definition& a, const vantrel_defs::Definition& b) {
    return a.Name == b.Name && a.Group == b.Group && a.Detect == b.Detect && a.Exclusions == b.Exclusions &&
           a.FileRules == b.FileRules && a.RegistryRules == b.RegistryRules;
}

void ReadText(const std::string& text) {
    std::vector<vantrel_defs::Diagnostic> errors;
    const auto defs = vantrel_defs::ParseDefinitions(text, errors);
    vantrel_defs::CheckDefinitions(defs, errors);
    for (const auto& e : errors) Require(e.Line >= 1);
    if (!errors.empty() || defs.empty()) return;
    vantrel_defs::CompileToFile(defs, FilePath());
    const auto back = vantrel_defs::ReadFile(FilePath());
    Require(back.size() == defs.size());
    for (std::size_t i = 0; i < defs.size(); ++i) Require(SameDefinitions(defs[i], back[i]));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    gInput.assign(reinterpret_cast<const char*>(data), size);
    if (size == 0) return 0;
    if (data[0] % 2 == 0)
        ReadDat(std::vector<std::uint8_t>(data + 1, data + size));
    else
        ReadText(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
    return 0;
}
