// The vantrel host's hold on the engine: loads VantrelHelper.dll and its
// sibling DLLs from the program's own folder, hands the language file to the
// engine, names the categories, runs a scan or a clean with progress, and keeps
// scan results and the last report in the host's state folder between runs.
#pragma once

#include <nlohmann/json.hpp>

#include <atomic>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "vantrel/Client.hpp"

namespace vantrel::cli {

using client::Ptr;

// Exit codes of the program.
enum ExitCode : int { kExitOk = 0, kExitFailure = 1, kExitUsage = 2 };

// A failure shown to the user: what went wrong (the engine's message where
// there is one) and what to do about it.
class Failure : public std::runtime_error {
public:
    Failure(std::string message, std::string hint, int exitCode = kExitFailure)
        : std::runtime_error(message), hint_(std::move(hint)), exitCode_(exitCode) {}
    const std::string& Hint() const noexcept { return hint_; }
    int ExitCode() const noexcept { return exitCode_; }

private:
    std::string hint_;
    int exitCode_;
};

// The engine's message and its HRESULT, as shown to the user.
std::string FailureText(const client::Error& error);

// Runs op; an engine error becomes a Failure with the engine's message, the
// given context in front of it, and the hint.
template <class Op>
auto Engine(const char* context, const char* hint, Op&& op) -> decltype(op());

struct CategoryView {
    Ptr<ICategory> category;
    int id = 0;    // GetId: the TCategoryType ordinal (ID_APPLICATION for every application)
    int type = 0;  // GetCategoryType: differs from id for applications
    std::string identifier;
    std::string name;  // localized; the identifier when the language file has no text
    std::string description;
    TCategorySeverityLevel severity = cslLow;
    bool checked = false;
};

struct Totals {
    int scanned = 0, detected = 0, removed = 0, failed = 0;
};

// One row of the per-category table of a scan or a clean.
struct CategoryResult {
    const CategoryView* view = nullptr;
    int found = 0;
    long long size = 0;
    int removed = 0;
    int checked = 0;
};

enum class Progress { None, Auto };

struct HostOptions {
    std::wstring languageFile;  // empty: lang\English.lng beside the program (warned about when missing)
};

// The names of the 60 category identifiers, by ordinal ("ID_DUMP_FILES").
const char* IdentifierName(int id);
const char* SeverityName(TCategorySeverityLevel level);

// The folder of the running program, with a trailing backslash.
std::wstring ProgramFolder();
// The host's own folder for scan results and the last report:
// %LOCALAPPDATA%\Vantrel\Host\ (created on demand).
std::wstring StateFolder();
std::wstring LastScanFile();
std::wstring LastReportFile();

class Host {
public:
    explicit Host(const HostOptions& options);
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    ICleaner* Cleaner() const { return cleaner_.Get(); }

    // Every category of the engine, in the engine's order.
    const std::vector<CategoryView>& Categories();
    // The categories a user's words name: identifier (with or without "ID_",
    // any case, '-' for '_'), the type number, or the display name. Throws a
    // usage Failure for a word that names none.
    // Reads the categories' check marks again.
    void RefreshMarks();
    std::vector<const CategoryView*> Resolve(const std::vector<std::string>& words);

    // Attaches the backup service (VantrelBackvault.dll beside the program).
    IBackvault* AttachBackvault();
    // Attaches the wipe helper (VantrelWipe.dll) with the given pass count.
    void AttachWipe(int passes);

    // Starts a scan or a clean and polls until it ends, drawing progress on
    // stderr (a bar on a console, plain lines otherwise). Ctrl+C aborts the
    // run; the engine ends it in csScanned / csCleaned as usual.
    void Run(bool clean, Progress progress);
    bool Interrupted() const { return interrupted_; }

    Totals Statistics();
    std::vector<CategoryResult> Results();

    // Saves the engine's scan results to file (atomically, through a temporary
    // file). The entry count is rewritten to the number of categories that
    // wrote an entry, so that results in which some category found nothing
    // load back (see docs/vantrel.md).
    void SaveResults(const std::wstring& file);
    // Loads results saved by SaveResults into this (csReady) engine.
    void LoadResults(const std::wstring& file);

    // The engine's report and the per-category results as JSON.
    nlohmann::json Report(const char* run);

private:
    std::optional<client::Library> backvaultLibrary_;
    std::optional<client::Library> wipeLibrary_;
    client::Library library_;
    Ptr<IBackvault> backvault_;
    Ptr<IDiskWipeHelper> wipe_;
    Ptr<ICleaner> cleaner_;
    std::vector<CategoryView> categories_;
    bool categoriesRead_ = false;
    bool interrupted_ = false;
};

// A file's bytes; throws Failure naming the file when it cannot be read.
std::string ReadFileBytes(const std::wstring& file);
// Writes bytes to file through a temporary file renamed over it.
void WriteFileAtomically(const std::wstring& file, const std::string& bytes);

// --- template definition ---

template <class Op>
auto Engine(const char* context, const char* hint, Op&& op) -> decltype(op()) {
    try {
        return op();
    } catch (const client::Error& e) {
        throw Failure(std::string(context) + ": " + FailureText(e), hint);
    }
}

}  // namespace vantrel::cli
