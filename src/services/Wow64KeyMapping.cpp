#include "services/Wow64KeyMapping.h"

#include <atomic>

#include "runtime/DebugLog.h"
#include "runtime/OSInfo.h"
#include "runtime/ProcessInfo.h"
#include "runtime/Strings.h"

namespace vt {

const std::array<TKeyMappingEntry, 76> kKeyMappingTable = {{
    {L"HKEY_LOCAL_MACHINE", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\HCP", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Cryptography\\Calais\\Current", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Cryptography\\Calais\\Readers", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Cryptography\\Services", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\CTF\\SystemShared", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\CTF\\TIP", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\DFS", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Driver Signing", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\EnterpriseCertificates", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\MSMQ", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Non-Driver Signing", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\RAS", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\SOFTWARE\\Microsoft\\Shared Tools\\MSInfo", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\SystemCertificates", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\TermServLicensing", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\TransactionServer", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Control Panel\\Cursors\\Schemes", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Group Policy", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Policies", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Setup", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Telephony\\Locations", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\FontDpi", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\FontMapper", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Fonts", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\FontSubstitutes", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\NetworkCards", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Perflib", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Ports", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Print", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Time Zones", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Policies", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\RegisteredApplications", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\MMC", mmShared, mmShared},
    {L"HKEY_CURRENT_USER", mmShared, mmShared},
    {L"HKEY_CURRENT_USER\\SOFTWARE", mmShared, mmShared},
    {L"HKEY_CLASSES_ROOT\\HCP", mmShared, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE", mmRedirected, mmRedirected},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes", mmReflected, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Appid", mmReflected, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\COM3", mmReflected, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\EventSystem", mmReflected, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\OLE", mmReflected, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\RPC", mmReflected, mmShared},
    {L"HKEY_CURRENT_USER\\SOFTWARE\\Classes", mmReflected, mmShared},
    {L"HKEY_CURRENT_USER\\SOFTWARE\\Classes\\Appid", mmReflected, mmShared},
    {L"HKEY_CLASSES_ROOT", mmReflected, mmShared},
    {L"HKEY_CLASSES_ROOT\\Appid", mmReflected, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\CLSID", mmReflected, mmRedirected},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\DirectShow", mmReflected, mmRedirected},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Interface", mmReflected, mmRedirected},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Media Type", mmReflected, mmRedirected},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\MediaFoundation", mmReflected, mmRedirected},
    {L"HKEY_CURRENT_USER\\SOFTWARE\\Classes\\CLSID", mmReflected, mmRedirected},
    {L"HKEY_CURRENT_USER\\SOFTWARE\\Classes\\DirectShow", mmReflected, mmRedirected},
    {L"HKEY_CURRENT_USER\\SOFTWARE\\Classes\\Interface", mmReflected, mmRedirected},
    {L"HKEY_CURRENT_USER\\SOFTWARE\\Classes\\Media Type", mmReflected, mmRedirected},
    {L"HKEY_CURRENT_USER\\SOFTWARE\\Classes\\MediaFoundation", mmReflected, mmRedirected},
    {L"HKEY_CLASSES_ROOT\\CLSID", mmReflected, mmRedirected},
    {L"HKEY_CLASSES_ROOT\\DirectShow", mmReflected, mmRedirected},
    {L"HKEY_CLASSES_ROOT\\Interface", mmReflected, mmRedirected},
    {L"HKEY_CLASSES_ROOT\\Media Type", mmReflected, mmRedirected},
    {L"HKEY_CLASSES_ROOT\\MediaFoundation", mmReflected, mmRedirected},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Clients", mmRedirected, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Notepad\\DefaultFonts", mmRedirected, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths", mmRedirected, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\AutoplayHandlers", mmRedirected, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\DriveIcons", mmRedirected, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\KindMap", mmRedirected, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\PreviewHandlers", mmRedirected, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Console", mmRedirected, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\FontLink", mmRedirected, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Gre_Initialize", mmRedirected, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Image File Execution Options", mmRedirected, mmShared},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Language Pack", mmRedirected, mmShared},
}};

const std::array<const wchar_t*, 7> kRedirectedRoots = {
    L"HKEY_CURRENT_USER\\Software\\Classes\\VirtualStore\\MACHINE\\SOFTWARE",
    L"HKEY_CURRENT_USER\\Software\\Classes",
    L"HKEY_CURRENT_USER\\Software",
    L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes",
    L"HKEY_LOCAL_MACHINE\\SOFTWARE",
    L"HKEY_CLASSES_ROOT\\VirtualStore\\MACHINE\\SOFTWARE",
    L"HKEY_CLASSES_ROOT",
};

namespace {

constexpr std::wstring_view kSender = L"TKeyMappingChecker";
// Windows 7 in the runtime's version numbering.
constexpr int kWin7Version = 15;

// Splits path at its first backslash: head before it, tail after (empty when none).
void SplitFirst(std::wstring_view path, std::wstring_view& head, std::wstring_view& tail) noexcept {
    const std::size_t at = path.find(kPathDelim);
    head = path.substr(0, at);
    tail = at == std::wstring_view::npos ? std::wstring_view() : path.substr(at + 1);
}

// One line per node; the children are logged inside a begin/end bracket named
// after the node, which puts them one nesting level deeper.
void DumpNode(const TKeyInfo& node) {
    TDebugLog::Log(llInfo, kSender, L"%s (%s)", {node.Name, MappingModeName(node.Mode)});
    if (node.Children.empty()) return;
    LogScope scope(kSender, node.Name);
    for (const auto& child : node.Children) DumpNode(*child);
}

}  // namespace

std::wstring_view MappingModeName(TMappingMode mode) noexcept {
    switch (mode) {
        case mmUnspec: return L"Unspec";
        case mmShared: return L"Shared";
        case mmRedirected: return L"Redirected";
        case mmReflected: return L"Reflected";
    }
    return {};
}

TKeyInfo* TKeyInfo::FindChild(std::wstring_view name) const noexcept {
    for (const auto& child : Children)
        if (SameText(child->Name, name)) return child.get();
    return nullptr;
}

TKeyMappingChecker::TKeyMappingChecker(bool isWow64Process, int windowsVersion) : FIsWow64(isWow64Process) {
    if (FIsWow64) {
        for (const auto& entry : kKeyMappingTable)
            AddKey(entry.Key, windowsVersion < kWin7Version ? entry.ModeBeforeWin7 : entry.ModeFromWin7);
    }
    DumpKeysTree();
}

namespace {

// The checker installed by a ScopedInstance; null: the running process's own.
std::atomic<const TKeyMappingChecker*> gInstalledChecker{nullptr};

}  // namespace

const TKeyMappingChecker& TKeyMappingChecker::Instance() {
    if (const TKeyMappingChecker* installed = gInstalledChecker.load()) return *installed;
    static const TKeyMappingChecker instance(ProcessInfo::IsWow64Process(), OSInfo::WindowsVersion());
    return instance;
}

TKeyMappingChecker::ScopedInstance::ScopedInstance(const TKeyMappingChecker& checker)
    : FPrevious(gInstalledChecker.exchange(&checker)) {}

TKeyMappingChecker::ScopedInstance::~ScopedInstance() { gInstalledChecker.store(FPrevious); }

void TKeyMappingChecker::AddKey(std::wstring_view path, TMappingMode mode) {
    const std::wstring trimmed = ExcludeTrailingPathDelimiter(path);
    std::wstring_view rest = trimmed;
    TKeyInfo* node = &FRoot;
    for (;;) {
        std::wstring_view head, tail;
        SplitFirst(rest, head, tail);
        TKeyInfo* child = node->FindChild(head);
        if (!child) {
            node->Children.push_back(std::make_unique<TKeyInfo>());
            child = node->Children.back().get();
            child->Name = std::wstring(head);
        }
        if (tail.empty()) {
            child->Mode = mode;
            return;
        }
        node = child;
        rest = tail;
    }
}

void TKeyMappingChecker::DumpKeysTree() const {
    if (!TDebugLog::Enabled(llInfo)) return;
    LogScope scope(kSender, L"DumpKeysTree");
    for (const auto& child : FRoot.Children) DumpNode(*child);
}

TMappingMode TKeyMappingChecker::MappingMode(std::wstring_view Key) const {
    TMappingMode result = mmShared;
    const std::wstring trimmed = ExcludeTrailingPathDelimiter(Key);
    std::wstring_view rest = trimmed;
    const TKeyInfo* node = &FRoot;
    while (!rest.empty()) {
        std::wstring_view head, tail;
        SplitFirst(rest, head, tail);
        node = node->FindChild(head);
        if (!node) break;
        if (node->Mode != mmUnspec) result = node->Mode;
        rest = tail;
    }
    return result;
}

std::wstring TKeyMappingChecker::GetNativeKey(std::int32_t AccessFlag, std::wstring_view Key) const {
    std::wstring result(Key);
    if (!FIsWow64 || AccessFlag != kWow64View32Flag || MappingMode(Key) != mmRedirected) return result;
    for (const wchar_t* root : kRedirectedRoots) {
        const std::wstring_view r(root);
        if (StartsText(r, Key)) {
            result.insert(r.size(), L"\\Wow6432Node");
            break;
        }
    }
    return result;
}

}  // namespace vt
