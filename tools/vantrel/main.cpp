// vantrel: the command-line host of VantrelHelper.dll. It loads the engine
// from its own folder through GetInstance, lists categories, scans with
// progress, shows and cleans what was found through the backup service, keeps
// the ignore list, and undoes cleans from their backup sessions.
//
// Exit codes: 0 success, 1 failure (with the engine's message and what to do),
// 2 usage error.
#include <CLI/CLI.hpp>

#include <sstream>

#include "Commands.h"
#include "Console.h"

using namespace vantrel::cli;

namespace {

constexpr const char* kDescription =
    "vantrel - finds and removes privacy traces on Windows through VantrelHelper.dll.\n"
    "Scan results are kept between commands in %LOCALAPPDATA%\\Vantrel\\Host\\; every clean is backed up\n"
    "and can be undone with 'vantrel sessions undo'.";

void AddJson(CLI::App* command, CommonOptions& common) {
    command->add_flag("--json", common.json, "print JSON for scripts instead of text");
}

// CLI::ExistingFile asks the C runtime, which cannot open non-Latin names.
CLI::Validator ExistingFile() {
    return CLI::Validator(
        [](std::string& file) -> std::string {
            const DWORD attributes = ::GetFileAttributesW(Wide(file).c_str());
            if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY))
                return "File does not exist: " + file;
            return {};
        },
        "FILE");
}

int Run(int argc, const char* const* argv) {
    CLI::App app(kDescription, "vantrel");
    app.require_subcommand(1);
    app.fallthrough();
    app.set_version_flag("--version", "vantrel 0.1");
    CommonOptions common;
    std::string lang;
    app.add_option("--lang", lang, "language file (name=value lines); default lang\\English.lng beside vantrel.exe");
    app.add_flag("--no-progress", common.noProgress, "no progress display");
    std::function<int()> action;

    bool all = false;
    auto* categories = app.add_subcommand("categories", "list the categories: identifier, name, severity, checked, installed");
    categories->add_flag("--all", all, "also list the identifiers this machine has no category for");
    AddJson(categories, common);
    categories->callback([&] { action = [&] { return ListCategories(common, all); }; });

    ScanOptions scan;
    auto* scanCommand = app.add_subcommand(
        "scan", "scan the checked categories, or the ones named, and keep the results for 'items' and 'clean'");
    scanCommand->add_option("category", scan.categories, "identifier (ID_DUMP_FILES, dump-files), number or name");
    scanCommand->add_flag("--no-save", scan.noSave, "do not keep the results for later commands");
    AddJson(scanCommand, common);
    scanCommand->callback([&] { action = [&] { return Scan(common, scan); }; });

    std::vector<std::string> itemCategories;
    std::string itemsFrom;
    auto* items = app.add_subcommand("items", "show what the last scan found in categories");
    items->add_option("category", itemCategories, "identifier, number or name")->required();
    items->add_option("--from", itemsFrom, "a results file saved with 'vantrel save' instead of the last scan");
    AddJson(items, common);
    items->callback([&] { action = [&] { return ShowItems(common, itemCategories, itemsFrom); }; });

    CleanOptions clean;
    auto* cleanCommand = app.add_subcommand(
        "clean", "remove what the last scan found (all its checked categories, or the ones named)");
    cleanCommand->add_option("category", clean.categories, "identifier, number or name");
    cleanCommand->add_flag("-y,--yes", clean.yes, "do not ask for confirmation");
    cleanCommand->add_flag("--no-backup", clean.noBackup, "remove without the backup service: cannot be undone");
    cleanCommand->add_flag("--wipe", clean.wipe, "overwrite files before deleting them (VantrelWipe.dll)");
    cleanCommand->add_option("--passes", clean.passes, "overwriting passes with --wipe")
        ->check(CLI::Range(1, 35))
        ->needs(cleanCommand->get_option("--wipe"));
    cleanCommand->add_option("--from", clean.from, "a results file saved with 'vantrel save' instead of the last scan");
    AddJson(cleanCommand, common);
    cleanCommand->callback([&] { action = [&] { return Clean(common, clean); }; });

    auto* report = app.add_subcommand("report", "show the report of the last scan or clean");
    AddJson(report, common);
    report->callback([&] { action = [&] { return ShowReport(common); }; });

    std::string saveFile, loadFile;
    auto* save = app.add_subcommand("save", "save the last scan's results to a file");
    save->add_option("file", saveFile, "file to write")->required();
    AddJson(save, common);
    save->callback([&] { action = [&] { return SaveResults(common, saveFile); }; });
    auto* load = app.add_subcommand("load", "load scan results from a file; they become the last scan");
    load->add_option("file", loadFile, "file saved with 'vantrel save'")->required()->check(ExistingFile());
    AddJson(load, common);
    load->callback([&] { action = [&] { return LoadResults(common, loadFile); }; });

    auto* ignore = app.add_subcommand("ignore", "the ignore list: places scans leave alone");
    ignore->require_subcommand(1);
    auto* ignoreList = ignore->add_subcommand("list", "show the ignore list");
    AddJson(ignoreList, common);
    ignoreList->callback([&] { action = [&] { return IgnoreList(common); }; });
    std::string location, mask, target;
    auto* ignoreAdd = ignore->add_subcommand("add", "add a file, folder or registry location");
    ignoreAdd->add_option("location", location, "C:\\Folder, C:\\File.txt or HKEY_CURRENT_USER\\Software\\...")
        ->required();
    ignoreAdd->add_option("--mask", mask, "only names matching this mask (*.log)");
    AddJson(ignoreAdd, common);
    ignoreAdd->callback([&] { action = [&] { return IgnoreAdd(common, location, mask); }; });
    auto* ignoreRemove = ignore->add_subcommand("remove", "remove an entry");
    ignoreRemove->add_option("entry", target, "the entry's number in 'ignore list', or its location")->required();
    AddJson(ignoreRemove, common);
    ignoreRemove->callback([&] { action = [&] { return IgnoreRemove(common, target); }; });

    auto* sessions = app.add_subcommand("sessions", "backup sessions: one per clean; undo or delete them");
    sessions->require_subcommand(1);
    std::string sessionId;
    auto* sessionsList = sessions->add_subcommand("list", "list the backup sessions, oldest first");
    AddJson(sessionsList, common);
    sessionsList->callback([&] { action = [&] { return SessionsList(common); }; });
    auto* sessionsShow = sessions->add_subcommand("show", "show what a session recorded");
    sessionsShow->add_option("session", sessionId, "session identifier, or 'last'")->required();
    AddJson(sessionsShow, common);
    sessionsShow->callback([&] { action = [&] { return SessionsShow(common, sessionId); }; });
    auto* undo = sessions->add_subcommand("undo", "put back everything a session removed");
    undo->add_option("session", sessionId, "session identifier, or 'last'")->required();
    AddJson(undo, common);
    undo->callback([&] { action = [&] { return SessionsUndo(common, sessionId); }; });
    auto* remove = sessions->add_subcommand("delete", "delete a session and its backed-up content");
    remove->add_option("session", sessionId, "session identifier, or 'last'")->required();
    AddJson(remove, common);
    remove->callback([&] { action = [&] { return SessionsDelete(common, sessionId); }; });

    std::ostringstream out, err;
    const auto commands = app.get_subcommands([](CLI::App*) { return true; });
    if (argc > 1 && argv[1][0] != '-' &&
        std::none_of(commands.begin(), commands.end(), [&](CLI::App* c) { return c->check_name(argv[1]); })) {
        PrintErr("vantrel: unknown command '{}'\nRun 'vantrel --help' for the commands.\n", argv[1]);
        return kExitUsage;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        const int code = app.exit(e, out, err);
        Write(Stream::Out, out.str());
        Write(Stream::Err, err.str());
        if (code == 0) return kExitOk;  // --help, --version
        if (argc <= 1) Write(Stream::Err, app.help());
        else Write(Stream::Err, "Run 'vantrel --help' or 'vantrel COMMAND --help' for the usage.\n");
        return kExitUsage;
    }
    common.host.languageFile = Wide(lang);
    if (!action) return kExitUsage;
    return action();
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    std::vector<std::string> arguments;
    for (int i = 0; i < argc; ++i) arguments.push_back(Utf8(argv[i]));
    std::vector<const char*> pointers;
    for (const std::string& a : arguments) pointers.push_back(a.c_str());
    try {
        return Run(argc, pointers.data());
    } catch (const Failure& f) {
        PrintErr("vantrel: error: {}\n", f.what());
        if (!f.Hint().empty()) PrintErr("vantrel: what to do: {}\n", f.Hint());
        return f.ExitCode();
    } catch (const vantrel::client::Error& e) {
        PrintErr("vantrel: error: {}\nvantrel: what to do: try again; if it keeps failing, report this message\n",
                 FailureText(e));
        return kExitFailure;
    } catch (const std::exception& e) {
        PrintErr("vantrel: error: {}\nvantrel: what to do: try again; if it keeps failing, report this message\n",
                 e.what());
        return kExitFailure;
    }
}
