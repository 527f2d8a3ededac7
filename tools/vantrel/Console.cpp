#include "Console.h"

#include "vantrel/ComTypes.h"

#include <cstdio>
#include <iostream>

namespace vantrel::cli {

std::string Utf8(std::wstring_view text) {
    if (text.empty()) return {};
    const int size = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0,
                                           nullptr, nullptr);
    std::string out(static_cast<std::size_t>(size), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), size, nullptr, nullptr);
    return out;
}

std::wstring Wide(std::string_view text) {
    if (text.empty()) return {};
    const int size = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring out(static_cast<std::size_t>(size), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), size);
    return out;
}

namespace {

HANDLE HandleOf(Stream stream) {
    return ::GetStdHandle(stream == Stream::Out ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

bool IsConsoleHandle(HANDLE handle) {
    DWORD mode = 0;
    return handle != nullptr && handle != INVALID_HANDLE_VALUE && ::GetConsoleMode(handle, &mode) != 0;
}

}  // namespace

bool IsConsole(Stream stream) { return IsConsoleHandle(HandleOf(stream)); }

bool InputIsConsole() { return IsConsoleHandle(::GetStdHandle(STD_INPUT_HANDLE)); }

void Write(Stream stream, std::string_view text) {
    if (text.empty()) return;
    const HANDLE handle = HandleOf(stream);
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE) return;
    if (IsConsoleHandle(handle)) {
        const std::wstring wide = Wide(text);
        DWORD written = 0;
        ::WriteConsoleW(handle, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr);
        return;
    }
    // A pipe or a file: the bytes as they are, in pieces a pipe accepts.
    std::size_t done = 0;
    while (done < text.size()) {
        DWORD written = 0;
        const DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(text.size() - done, 1u << 20));
        if (!::WriteFile(handle, text.data() + done, chunk, &written, nullptr) || written == 0) return;
        done += written;
    }
}

bool ReadLine(std::string& line) {
    line.clear();
    const HANDLE input = ::GetStdHandle(STD_INPUT_HANDLE);
    if (input == nullptr || input == INVALID_HANDLE_VALUE) return false;
    if (IsConsoleHandle(input)) {
        wchar_t buffer[512];
        DWORD read = 0;
        if (!::ReadConsoleW(input, buffer, 511, &read, nullptr) || read == 0) return false;
        std::wstring text(buffer, read);
        while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r')) text.pop_back();
        line = Utf8(text);
        return true;
    }
    bool any = false;
    for (;;) {
        char c = 0;
        DWORD read = 0;
        if (!::ReadFile(input, &c, 1, &read, nullptr) || read == 0) return any;
        any = true;
        if (c == '\n') break;
        if (c != '\r') line.push_back(c);
    }
    return true;
}

bool Confirm(std::string_view question) {
    Write(Stream::Err, fmt::format("{} [y/N] ", question));
    std::string answer;
    if (!ReadLine(answer)) {
        Write(Stream::Err, "\n");
        return false;
    }
    return !answer.empty() && (answer[0] == 'y' || answer[0] == 'Y');
}

std::string HumanSize(long long bytes) {
    if (bytes < 1024) return fmt::format("{} bytes", bytes);
    static const char* units[] = {"KB", "MB", "GB", "TB"};
    double value = static_cast<double>(bytes) / 1024.0;
    int unit = 0;
    while (value >= 1024.0 && unit < 3) {
        value /= 1024.0;
        ++unit;
    }
    return fmt::format("{:.1f} {}", value, units[unit]);
}

}  // namespace vantrel::cli
