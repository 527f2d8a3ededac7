// Delphi-style string helpers used across the engine. Positions in the
// design are 1-based; these helpers take and return 0-based indices unless a
// name says otherwise, and callers translate where the design counts from 1.
//
// Case-insensitive operations fold case with one fixed table (ASCII, Latin-1,
// Latin Extended-A, Greek and Cyrillic), so the portable core and the Windows
// build agree byte for byte.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace vt {

// Case folding of one code unit to upper case.
wchar_t UpCaseChar(wchar_t c) noexcept;
wchar_t LowCaseChar(wchar_t c) noexcept;

std::wstring UpperCase(std::wstring_view s);
std::wstring LowerCase(std::wstring_view s);

// Ordinal comparison, and the same after upper-casing both sides.
int CompareStr(std::wstring_view a, std::wstring_view b) noexcept;
int CompareText(std::wstring_view a, std::wstring_view b) noexcept;
bool SameText(std::wstring_view a, std::wstring_view b) noexcept;
bool StartsText(std::wstring_view prefix, std::wstring_view s) noexcept;
bool EndsText(std::wstring_view suffix, std::wstring_view s) noexcept;
bool StartsStr(std::wstring_view prefix, std::wstring_view s) noexcept;
bool EndsStr(std::wstring_view suffix, std::wstring_view s) noexcept;
// 0-based index of the first occurrence of what in s, ignoring case; npos if none.
std::size_t FindText(std::wstring_view s, std::wstring_view what, std::size_t from = 0) noexcept;

// Trims characters up to and including the blank (Delphi's Trim).
std::wstring Trim(std::wstring_view s);
std::wstring TrimLeft(std::wstring_view s);
std::wstring TrimRight(std::wstring_view s);

// Replaces the first (or every) occurrence; ignoreCase compares with CompareText rules.
std::wstring ReplaceFirst(std::wstring_view s, std::wstring_view from, std::wstring_view to,
                          bool ignoreCase = false);
std::wstring ReplaceAll(std::wstring_view s, std::wstring_view from, std::wstring_view to,
                        bool ignoreCase = false);

// Path helpers. The delimiter is the backslash.
constexpr wchar_t kPathDelim = L'\\';
std::wstring IncludeTrailingPathDelimiter(std::wstring_view path);
std::wstring ExcludeTrailingPathDelimiter(std::wstring_view path);
// The part after the last backslash or colon.
std::wstring ExtractFileName(std::wstring_view path);
// Everything up to and including the last backslash or colon.
std::wstring ExtractFilePath(std::wstring_view path);
// ExtractFilePath without its trailing backslash (unless that leaves a bare "C:").
std::wstring ExtractFileDir(std::wstring_view path);
// The extension including its dot, empty when none.
std::wstring ExtractFileExt(std::wstring_view path);
// "X:\..." test used for location typing: second character ':' and third '\'.
bool IsDrivePath(std::wstring_view s) noexcept;

// Integer conversion: the whole text must be a (optionally signed) decimal or
// $hex number; otherwise the default.
std::int64_t StrToInt64Def(std::wstring_view s, std::int64_t def) noexcept;
int StrToIntDef(std::wstring_view s, int def) noexcept;
std::wstring IntToStr(std::int64_t v);
const wchar_t* BoolToStr(bool v) noexcept;  // "True" / "False"

// One argument of Format: an integer, a floating value or a text.
class FormatArg {
public:
    enum class Kind { Signed, Unsigned, Floating, Text };
    FormatArg(int v) : kind_(Kind::Signed), signed_(v) {}
    FormatArg(long v) : kind_(Kind::Signed), signed_(v) {}
    FormatArg(long long v) : kind_(Kind::Signed), signed_(v) {}
    FormatArg(unsigned v) : kind_(Kind::Unsigned), unsigned_(v) {}
    FormatArg(unsigned long v) : kind_(Kind::Unsigned), unsigned_(v) {}
    FormatArg(unsigned long long v) : kind_(Kind::Unsigned), unsigned_(v) {}
    FormatArg(double v) : kind_(Kind::Floating), floating_(v) {}
    FormatArg(const wchar_t* v) : kind_(Kind::Text), text_(v ? v : L"") {}
    FormatArg(const std::wstring& v) : kind_(Kind::Text), text_(v) {}
    FormatArg(std::wstring_view v) : kind_(Kind::Text), text_(v) {}

    Kind kind() const noexcept { return kind_; }
    std::int64_t AsSigned() const noexcept { return kind_ == Kind::Unsigned ? static_cast<std::int64_t>(unsigned_) : signed_; }
    std::uint64_t AsUnsigned() const noexcept { return kind_ == Kind::Signed ? static_cast<std::uint64_t>(signed_) : unsigned_; }
    double AsFloating() const noexcept { return floating_; }
    std::wstring_view AsText() const noexcept { return text_; }

private:
    Kind kind_;
    std::int64_t signed_ = 0;
    std::uint64_t unsigned_ = 0;
    double floating_ = 0;
    std::wstring_view text_;
};

// Delphi's Format: %[index:][-][width][.precision]type with types d, u, x, X,
// s, f, e, g, n and %% for a percent sign. An index ("%0:s") selects the
// argument and later plain specifiers continue after it. A missing argument
// or a type that does not fit raises the general error "Format '...' invalid
// or incompatible with argument".
std::wstring Format(std::wstring_view format, std::initializer_list<FormatArg> args);

}  // namespace vt
