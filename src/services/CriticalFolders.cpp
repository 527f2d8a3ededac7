#include "services/CriticalFolders.h"

#include <utility>

#include "runtime/DebugLog.h"
#include "runtime/FileSystem.h"
#include "runtime/Masks.h"
#include "runtime/RegistryReader.h"
#include "runtime/Strings.h"

namespace vt {

namespace {

constexpr std::wstring_view kSender = L"TCriticalFolders";

// Shell folder numbers (CSIDL values).
constexpr int kCsidlWindows = 0x24;
constexpr int kCsidlSystem = 0x25;
constexpr int kCsidlProfile = 0x28;
constexpr int kCsidlPersonal = 0x05;
constexpr int kCsidlCommonDocuments = 0x2E;
constexpr int kCsidlAppData = 0x1A;
constexpr int kCsidlLocalAppData = 0x1C;
constexpr int kCsidlProgramFiles = 0x26;
constexpr int kCsidlProgramFilesCommon = 0x2B;

// Desktop, favourites, media, start-menu, templates and sample folders, all
// critical as they stand (the folder itself, not what is below it).
constexpr int kPlainShellFolders[] = {
    0x00, 0x10, 0x19, 0x06, 0x1F, 0x0D, 0x35, 0x27, 0x36, 0x0B, 0x16, 0x02, 0x17,
    0x07, 0x18, 0x15, 0x2D, 0x0E, 0x37, 0x45, 0x3F, 0x38, 0x40, 0x41, 0x42, 0x43,
};

constexpr const wchar_t* kWindowsExceptions[] = {
    L"$*",    L"debug\\*",         L"downloaded program files\\*", L"minidump\\*",
    L"prefetch\\*", L"logs\\*",    L"security\\logs\\*",           L"softwaredistribution\\download\\*",
    L"temp\\*", L"internet logs\\*",
};
constexpr const wchar_t* kSystemExceptions[] = {L"logfiles\\*", L"wbem\\logs\\*", L"spool\\printers\\*"};

constexpr wchar_t kProfileListKey[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList";
constexpr wchar_t kDocFolderPathsKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\DocFolderPaths";

}  // namespace

TCriticalFolders::TCriticalFolders(std::unique_ptr<ICriticalFoldersSystem> system)
    : system_(std::move(system)),
      FRestrictedFolders(true, dupIgnore),
      FAllowedFolders(true, dupIgnore) {}

TCriticalFolders::~TCriticalFolders() = default;

void TCriticalFolders::AddEntry(StringList& list, const std::wstring& text) {
    const std::wstring entry = Trim(text);
    if (!entry.empty()) list.Add(LowerCase(entry));
}

void TCriticalFolders::AddShellFolder(StringList& list, int csidl, const std::wstring& suffix) {
    if (auto folder = system_->ShellFolder(csidl)) AddEntry(list, IncludeTrailingPathDelimiter(*folder) + suffix);
}

void TCriticalFolders::AddEnvironmentFolder(StringList& list, const std::wstring& name, const std::wstring& suffix) {
    const std::wstring value = system_->Environment(name);
    if (value.empty()) return;
    AddEntry(list, IncludeTrailingPathDelimiter(system_->LongPathName(value)) + suffix);
}

void TCriticalFolders::AddUserProfilePaths() {
    LogScope scope(kSender, L"AddUserProfilePaths");
    const std::wstring user = system_->UserName();
    if (user.empty()) return;
    const std::vector<std::uint8_t> ownSid = system_->AccountSid(user);
    if (ownSid.empty()) return;
    const IRegistryReader& registry = system_->Registry();
    const auto list = registry.OpenKey(RegistryRoot::LocalMachine, kProfileListKey);
    if (!list) return;
    TDebugLog::Log(llInfo, kSender, L"get key names");
    for (const auto& name : list->SubKeyNames()) {
        TDebugLog::Log(llInfo, kSender, L"profile = %s", {name.c_str()});
        const auto profile = registry.OpenKey(RegistryRoot::LocalMachine, std::wstring(kProfileListKey) + L"\\" + name);
        if (!profile) continue;
        const auto sid = profile->ReadValue(L"Sid");
        const auto imagePath = profile->ReadValue(L"ProfileImagePath");
        if (!sid || !imagePath) continue;
        // The current user is protected by the profile-folder entry alone.
        if (sid->data == ownSid) continue;
        std::wstring path = RegistryString(*imagePath).value_or(L"");
        if (imagePath->type == kRegExpandSz) path = system_->ExpandEnvironment(path);
        TDebugLog::Log(llInfo, kSender, L"path = %s", {path.c_str()});
        if (!path.empty()) AddEntry(FRestrictedFolders, IncludeTrailingPathDelimiter(path) + L"*");
    }
}

void TCriticalFolders::AddDocFolderPaths() {
    LogScope scope(kSender, L"AddDocFolderPaths");
    const std::wstring ownSid = system_->UserSidText();
    const auto key = system_->Registry().OpenKey(RegistryRoot::LocalMachine, kDocFolderPathsKey);
    if (!key) return;
    TDebugLog::Log(llInfo, kSender, L"key opened successfully");
    for (const auto& name : key->ValueNames()) {
        if (name.empty() || name == ownSid) continue;
        const auto value = key->ReadValue(name);
        const std::wstring folder = value ? RegistryString(*value).value_or(L"") : std::wstring();
        if (folder.empty()) continue;
        TDebugLog::Log(llInfo, kSender, L"doc folder for %s", {folder.c_str()});
        AddEntry(FRestrictedFolders, folder);
    }
}

void TCriticalFolders::Populate() {
    LogScope scope(kSender, L"Populate");
    const std::uint32_t drives = system_->LogicalDrives();
    for (int i = 0; i < 26; ++i) {
        if ((drives & (1u << i)) == 0) continue;
        const std::wstring root = std::wstring(1, static_cast<wchar_t>(L'A' + i)) + L":\\";
        if (system_->DriveType(root) != 3) continue;
        const std::wstring native = system_->NativeName(root);
        if (native.empty()) continue;
        FDosDevices.emplace_back(root, native);
        AddEntry(FRestrictedFolders, root);
    }

    StringList& restricted = FRestrictedFolders;
    AddShellFolder(restricted, kCsidlWindows, L"*");
    if (auto d = system_->ProfilesDirectory()) AddEntry(restricted, IncludeTrailingPathDelimiter(*d));
    if (auto d = system_->AllUsersProfileDirectory()) AddEntry(restricted, IncludeTrailingPathDelimiter(*d));
    if (auto d = system_->DefaultUserProfileDirectory()) AddEntry(restricted, IncludeTrailingPathDelimiter(*d) + L"*");
    AddShellFolder(restricted, kCsidlProfile, L"");
    AddUserProfilePaths();
    AddShellFolder(restricted, kCsidlPersonal, L"");
    AddShellFolder(restricted, kCsidlCommonDocuments, L"");
    AddDocFolderPaths();
    for (int csidl : kPlainShellFolders) AddShellFolder(restricted, csidl, L"");
    AddShellFolder(restricted, kCsidlAppData, L"");
    AddShellFolder(restricted, kCsidlLocalAppData, L"");
    // These two keep no trailing backslash, so they never match a question
    // (questions always end in one); kept as the lists have always been built.
    for (auto folder : {ICriticalFoldersSystem::kfLocalAppDataLow, ICriticalFoldersSystem::kfPublic})
        if (auto path = system_->KnownFolderPath(folder)) AddEntry(restricted, *path);
    AddShellFolder(restricted, kCsidlProgramFiles, L"");
    AddShellFolder(restricted, kCsidlProgramFilesCommon, L"");
    for (const wchar_t* name : {L"ProgramFiles", L"ProgramW6432", L"CommonProgramFiles", L"CommonProgramW6432"})
        AddEnvironmentFolder(restricted, name, L"");

    StringList& allowed = FAllowedFolders;
    AddEnvironmentFolder(allowed, L"TEMP", L"*");
    AddEnvironmentFolder(allowed, L"TMP", L"*");
    for (const wchar_t* sub : kWindowsExceptions) AddShellFolder(allowed, kCsidlWindows, sub);
    for (const wchar_t* sub : kSystemExceptions) AddShellFolder(allowed, kCsidlSystem, sub);
    AddEnvironmentFolder(allowed, L"USERPROFILE", L"Recent\\*");

    if (TDebugLog::Enabled(llInfo)) {
        TDebugLog::Log(llInfo, kSender, L"restricted folders list:");
        {
            LogScope nested(kSender, L"restricted folders");
            for (int i = 0; i < restricted.Count(); ++i) TDebugLog::Log(llInfo, kSender, restricted.Get(i));
        }
        TDebugLog::Log(llInfo, kSender, L"allowed folders list:");
        {
            LogScope nested(kSender, L"allowed folders");
            for (int i = 0; i < allowed.Count(); ++i) TDebugLog::Log(llInfo, kSender, allowed.Get(i));
        }
    }
}

std::wstring TCriticalFolders::NativeToDrivePath(const std::wstring& native) const {
    if (native.empty()) return {};
    for (const auto& [root, device] : FDosDevices) {
        if (native.compare(0, device.size(), device) != 0) continue;
        // The root ends in a backslash; the rest may start with one (a root's
        // native name may be given with or without its trailing backslash).
        std::wstring rest = native.substr(device.size());
        if (!rest.empty() && rest.front() == L'\\') rest.erase(0, 1);
        return root + rest;
    }
    return {};
}

bool TCriticalFolders::IsFolderCritical(const std::wstring& AFolder, bool ARootsAllow) {
    try {
        {
            std::lock_guard<std::mutex> guard(populateLock_);
            if (!FPopulated) {
                Populate();
                FPopulated = true;
            }
        }
        if (ExcludeTrailingPathDelimiter(AFolder).empty()) return true;
        std::wstring path = NativeToDrivePath(system_->NativeName(AFolder));
        if (path.empty()) path = AFolder;
        const std::wstring candidate = LowerCase(IncludeTrailingPathDelimiter(path));

        bool restricted = false;
        for (int i = 0; i < FRestrictedFolders.Count() && !restricted; ++i)
            restricted = MatchesMask(candidate, FRestrictedFolders.Get(i));
        if (!restricted) return false;
        if (ARootsAllow && AFolder.size() == 3) return false;
        for (int i = 0; i < FAllowedFolders.Count(); ++i)
            if (MatchesMask(candidate, FAllowedFolders.Get(i))) return false;
        TDebugLog::Log(llInfo, kSender, L"Is Critical Folder: " + candidate);
        return true;
    } catch (...) {
        return false;
    }
}

namespace {

std::mutex& InstanceLock() {
    static std::mutex lock;
    return lock;
}
std::unique_ptr<TCriticalFolders>& Instance() {
    static std::unique_ptr<TCriticalFolders> instance;
    return instance;
}

}  // namespace

TCriticalFolders& CriticalFolders() {
    std::lock_guard<std::mutex> guard(InstanceLock());
    auto& instance = Instance();
    if (!instance) instance = std::make_unique<TCriticalFolders>(MakeSystemCriticalFoldersSystem());
    return *instance;
}

void ResetCriticalFoldersForTesting(std::unique_ptr<ICriticalFoldersSystem> system) {
    std::lock_guard<std::mutex> guard(InstanceLock());
    Instance() = std::make_unique<TCriticalFolders>(system ? std::move(system) : MakeSystemCriticalFoldersSystem());
}

bool IsAllowedFolder(const std::wstring& APath, bool ACheckExists, bool ARootsAllow) {
    if (APath.size() < 3 || APath[1] != L':' || APath[2] != L'\\') return false;
    if (ACheckExists && !DirectoryExists(APath)) return true;
    // The answer is only logged: every well-formed drive path is admitted.
    CriticalFolders().IsFolderCritical(APath, ARootsAllow);
    return true;
}

}  // namespace vt
