// Console output of the vantrel host. Text is built as UTF-8 (fmt, JSON) and
// written to a console window through WriteConsoleW, so that non-Latin paths
// show correctly whatever the console's code page; to a pipe or a file it goes
// as UTF-8 bytes.
#pragma once

#include <fmt/format.h>

#include <string>
#include <string_view>

namespace vantrel::cli {

std::string Utf8(std::wstring_view text);
std::wstring Wide(std::string_view text);

enum class Stream { Out, Err };

// True when the stream is a console window (not redirected).
bool IsConsole(Stream stream);
// True when standard input is a console window.
bool InputIsConsole();

// Writes UTF-8 text as it is (no newline added).
void Write(Stream stream, std::string_view text);

template <class... Args>
void Print(fmt::format_string<Args...> format, Args&&... args) {
    Write(Stream::Out, fmt::format(format, std::forward<Args>(args)...));
}
template <class... Args>
void PrintErr(fmt::format_string<Args...> format, Args&&... args) {
    Write(Stream::Err, fmt::format(format, std::forward<Args>(args)...));
}

// Reads one line from standard input (UTF-8, without the line end); false at
// the end of input.
bool ReadLine(std::string& line);

// Asks a yes/no question on the console; true only for an answer starting with
// y or Y. End of input counts as no.
bool Confirm(std::string_view question);

// "1.5 MB", "312 bytes".
std::string HumanSize(long long bytes);

}  // namespace vantrel::cli
