// Text conversions of the browser-data library: the browsers' stores keep
// UTF-8; the interfaces hand out UTF-16 (wchar_t on Windows, 32-bit wchar_t
// natively, where the same code points are kept).
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace kxb {

// Malformed UTF-8 sequences become U+FFFD; never fails.
std::wstring WideFromUtf8(std::string_view text);
// Unpaired surrogates become U+FFFD; never fails.
std::string Utf8FromWide(std::wstring_view text);

// A path's text as the interfaces show it, and a path from UTF-8 text.
std::wstring PathText(const std::filesystem::path& path);
std::filesystem::path PathFromUtf8(std::string_view text);
std::string Utf8Path(const std::filesystem::path& path);

// Unix time in seconds as "yyyy-mm-dd hh:nn:ss" (UTC); empty for 0 or less.
std::wstring FormatUnixSeconds(long long seconds);

}  // namespace kxb
