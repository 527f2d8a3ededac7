// vantrel-defs: writes, reads and checks application definitions files.
//
//   vantrel-defs compile  definitions.txt -o Applications.dat
//   vantrel-defs decompile Applications.dat [-o definitions.txt]
//   vantrel-defs list     Applications.dat
//   vantrel-defs check    definitions.txt
//   vantrel-defs import   winapp2.ini [-o definitions.txt]
//
// Errors name the file and line ("definitions.txt:12: file: ..."); a command
// that finds errors exits with 1 and writes nothing.
#include <CLI/CLI.hpp>
#include <fmt/core.h>

#include <fstream>
#include <iostream>
#include <sstream>

#include "Definitions.h"
#include "Winapp2.h"
#include "runtime/Exception.h"
#include "runtime/Utf.h"

using namespace vantrel_defs;

namespace {

std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + path);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

void WriteText(const std::string& path, const std::string& text) {
    if (path.empty() || path == "-") {
        std::cout << text;
        return;
    }
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out || !(out << text)) throw std::runtime_error("cannot write " + path);
}

// Parses and checks; prints every error. True when there is none.
bool Load(const std::string& path, std::vector<Definition>& defs) {
    std::vector<Diagnostic> errors;
    defs = ParseDefinitions(ReadText(path), errors);
    CheckDefinitions(defs, errors);
    std::stable_sort(errors.begin(), errors.end(), [](const auto& a, const auto& b) { return a.Line < b.Line; });
    for (const Diagnostic& e : errors) fmt::print(stderr, "{}:{}: {}\n", path, e.Line, e.Message);
    return errors.empty();
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Writes, reads and checks Vantrel application definitions (Applications.dat)."};
    app.require_subcommand(1);
    // Paths such as "/work/x.txt" are arguments, not Windows-style options
    // (the Windows build is run on Unix paths under Wine at build time).
    app.allow_windows_style_options(false);
    std::string input, output;

    auto* compile = app.add_subcommand("compile", "Compile a definitions text into a .dat file");
    compile->add_option("definitions", input, "definitions text (UTF-8)")->required();
    compile->add_option("-o,--output", output, "the .dat file to write")->required();

    auto* decompile = app.add_subcommand("decompile", "Write a .dat file back as definitions text");
    decompile->add_option("dat", input, "the .dat file")->required();
    decompile->add_option("-o,--output", output, "the text file to write (default: standard output)");

    auto* list = app.add_subcommand("list", "List the records of a .dat file");
    list->add_option("dat", input, "the .dat file")->required();

    auto* check = app.add_subcommand("check", "Check a definitions text");
    check->add_option("definitions", input, "definitions text (UTF-8)")->required();

    auto* import = app.add_subcommand("import", "Import winapp2.ini entries as definitions text");
    import->add_option("winapp2", input, "a winapp2.ini file")->required();
    import->add_option("-o,--output", output, "the text file to write (default: standard output)");

    CLI11_PARSE(app, argc, argv);

    try {
        if (*compile) {
            std::vector<Definition> defs;
            if (!Load(input, defs)) return 1;
            CompileToFile(defs, vt::FromUtf8(output));
            fmt::print("{}: {} definitions written\n", output, defs.size());
        } else if (*decompile) {
            WriteText(output, WriteDefinitions(ReadFile(vt::FromUtf8(input))));
        } else if (*list) {
            int n = 0;
            for (const Definition& d : ReadFile(vt::FromUtf8(input)))
                fmt::print("{:4}  {}  [{}]  detect: {}  files: {}  registry: {}  exclusions: {}\n", n++,
                           vt::ToUtf8(d.Name), vt::ToUtf8(d.Group), d.Detect.empty() ? "-" : vt::ToUtf8(d.Detect),
                           d.FileRules.size(), d.RegistryRules.size(), d.Exclusions.size());
        } else if (*check) {
            std::vector<Definition> defs;
            if (!Load(input, defs)) return 1;
            fmt::print("{}: {} definitions, no errors\n", input, defs.size());
        } else if (*import) {
            const ImportResult r = ImportWinapp2(ReadText(input));
            for (const ImportNote& n : r.Skipped)
                fmt::print(stderr, "{}:{}: {} [{}]: {}\n", input, n.Line, n.EntrySkipped ? "skipped entry" : "skipped key",
                           vt::ToUtf8(n.Entry), vt::ToUtf8(n.Reason));
            WriteText(output, WriteDefinitions(r.Imported));
            int skippedEntries = 0;
            for (const ImportNote& n : r.Skipped) skippedEntries += n.EntrySkipped ? 1 : 0;
            fmt::print(stderr, "{} entries: {} imported, {} skipped; keys: {} imported, {} skipped\n", r.Entries,
                       r.Imported.size(), skippedEntries, r.KeysImported, r.KeysSkipped);
        }
    } catch (const vt::Exception& e) {
        fmt::print(stderr, "error: {}\n", vt::ToUtf8(e.Message()));
        return 2;
    } catch (const std::exception& e) {
        fmt::print(stderr, "error: {}\n", e.what());
        return 2;
    }
    return 0;
}
