#include "CliSupport.h"

#include <shlobj.h>

#include <memory>
#include <thread>

namespace clitest {

namespace {

struct HandleCloser {
    void operator()(HANDLE h) const {
        if (h && h != INVALID_HANDLE_VALUE) ::CloseHandle(h);
    }
};
using Handle = std::unique_ptr<void, HandleCloser>;

std::wstring Quote(const std::wstring& arg) {
    if (!arg.empty() && arg.find_first_of(L" \t\"") == std::wstring::npos) return arg;
    std::wstring q = L"\"";
    std::size_t slashes = 0;
    for (wchar_t c : arg) {
        if (c == L'\\') {
            ++slashes;
        } else {
            q.append(c == L'"' ? slashes * 2 + 1 : slashes, L'\\');
            slashes = 0;
        }
        q.push_back(c);
    }
    q.append(slashes, L'\\');
    return q + L"\"";
}

std::string Drain(HANDLE pipe) {
    std::string text;
    char buffer[4096];
    DWORD read = 0;
    while (::ReadFile(pipe, buffer, sizeof buffer, &read, nullptr) && read > 0) text.append(buffer, read);
    return text;
}

}  // namespace

std::string Utf8(const std::wstring& text) {
    if (text.empty()) return {};
    const int n = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
    std::string s(static_cast<std::size_t>(n), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), s.data(), n, nullptr, nullptr);
    return s;
}

std::wstring Wide(const std::string& text) {
    if (text.empty()) return {};
    const int n = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring s(static_cast<std::size_t>(n), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), s.data(), n);
    return s;
}

std::wstring ProgramFolder() {
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring p(path);
    return p.substr(0, p.find_last_of(L'\\') + 1);
}

std::wstring HostStateFolder() {
    wchar_t base[MAX_PATH] = {};
    ::SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA | CSIDL_FLAG_CREATE, nullptr, SHGFP_TYPE_CURRENT, base);
    return std::wstring(base) + L"\\Vantrel\\Host\\";
}

bool Exists(const std::wstring& path) { return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

std::string ReadBytes(const std::wstring& path) {
    Handle h(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    if (h.get() == INVALID_HANDLE_VALUE) return {};
    return Drain(h.get());
}

void WriteBytes(const std::wstring& path, const std::string& bytes) {
    for (std::size_t slash = path.find(L'\\', 3); slash != std::wstring::npos; slash = path.find(L'\\', slash + 1))
        ::CreateDirectoryW(path.substr(0, slash).c_str(), nullptr);
    Handle h(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_NE(h.get(), INVALID_HANDLE_VALUE) << Utf8(path);
    DWORD written = 0;
    ASSERT_TRUE(::WriteFile(h.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
}

Outcome Vantrel(const std::vector<std::wstring>& args, const std::string& input) {
    std::wstring commandLine = Quote(ProgramFolder() + L"vantrel.exe");
    for (const std::wstring& a : args) commandLine += L" " + Quote(a);

    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    HANDLE outRead = nullptr, outWrite = nullptr, errRead = nullptr, errWrite = nullptr, inRead = nullptr,
           inWrite = nullptr;
    Outcome outcome;
    if (!::CreatePipe(&outRead, &outWrite, &inherit, 0) || !::CreatePipe(&errRead, &errWrite, &inherit, 0) ||
        !::CreatePipe(&inRead, &inWrite, &inherit, 0)) {
        ADD_FAILURE() << "CreatePipe failed";
        return outcome;
    }
    Handle outR(outRead), outW(outWrite), errR(errRead), errW(errWrite), inR(inRead), inW(inWrite);
    ::SetHandleInformation(outRead, HANDLE_FLAG_INHERIT, 0);
    ::SetHandleInformation(errRead, HANDLE_FLAG_INHERIT, 0);
    ::SetHandleInformation(inWrite, HANDLE_FLAG_INHERIT, 0);

    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = inRead;
    startup.hStdOutput = outWrite;
    startup.hStdError = errWrite;
    PROCESS_INFORMATION process{};
    if (!::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr, nullptr,
                          &startup, &process)) {
        ADD_FAILURE() << "cannot start vantrel.exe: error " << ::GetLastError();
        return outcome;
    }
    Handle processHandle(process.hProcess), threadHandle(process.hThread);
    // The child holds its own copies; ours must go for the pipes to end.
    outW.reset();
    errW.reset();
    inR.reset();
    DWORD written = 0;
    if (!input.empty()) ::WriteFile(inWrite, input.data(), static_cast<DWORD>(input.size()), &written, nullptr);
    inW.reset();
    std::thread errReader([&] { outcome.err = Drain(errRead); });
    outcome.out = Drain(outRead);
    errReader.join();
    ::WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 0;
    ::GetExitCodeProcess(process.hProcess, &code);
    outcome.code = static_cast<int>(code);
    return outcome;
}

nlohmann::json Json(const Outcome& outcome) {
    nlohmann::json j = nlohmann::json::parse(outcome.out, nullptr, false);
    EXPECT_FALSE(j.is_discarded()) << "not JSON:\n" << outcome.out << "\nstderr:\n" << outcome.err;
    return j.is_discarded() ? nlohmann::json() : j;
}

}  // namespace clitest
