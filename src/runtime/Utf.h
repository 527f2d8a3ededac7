// Conversions where text meets bytes. wchar_t is 16-bit on Windows and 32-bit
// elsewhere; every byte format of the system counts UTF-16 code units, so text
// is turned into UTF-16 explicitly before it is written and back after it is
// read, and both builds produce identical bytes.
#pragma once

#include <string>
#include <string_view>

namespace vt {

// UTF-16 code units of a wide string (identity on Windows; code points above
// U+FFFF become surrogate pairs elsewhere).
std::u16string ToUtf16(std::wstring_view text);
// The wide string of UTF-16 code units (unpaired surrogates are kept as they are).
std::wstring FromUtf16(std::u16string_view units);
std::wstring FromUtf16(const char16_t* units, std::size_t count);

std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view text);

// Number of UTF-16 code units the text occupies.
std::size_t Utf16Length(std::wstring_view text);

}  // namespace vt
