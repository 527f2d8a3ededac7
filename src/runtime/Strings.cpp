#include "runtime/Strings.h"

#include <cmath>
#include <cstdio>
#include <cwchar>

#include "runtime/Exception.h"

namespace vt {

wchar_t UpCaseChar(wchar_t c) noexcept {
    const auto u = static_cast<std::uint32_t>(c);
    if (u < 0x80) return (u >= 'a' && u <= 'z') ? static_cast<wchar_t>(u - 32) : c;
    if (u >= 0xE0 && u <= 0xFE && u != 0xF7) return static_cast<wchar_t>(u - 0x20);
    if (u == 0xFF) return static_cast<wchar_t>(0x178);
    // Dotless i (U+0131) is the lower case of plain I, not of dotted I (U+0130).
    if (u == 0x131) return L'I';
    if (u == 0x130) return c;
    if (u >= 0x100 && u <= 0x137) return static_cast<wchar_t>(u & ~1u);
    if (u >= 0x139 && u <= 0x148) return (u % 2 == 0) ? static_cast<wchar_t>(u - 1) : c;
    if (u >= 0x14A && u <= 0x177) return static_cast<wchar_t>(u & ~1u);
    if (u >= 0x179 && u <= 0x17E) return (u % 2 == 0) ? static_cast<wchar_t>(u - 1) : c;
    if (u == 0x3C2) return static_cast<wchar_t>(0x3A3);
    if (u >= 0x3B1 && u <= 0x3C9) return static_cast<wchar_t>(u - 0x20);
    if (u >= 0x430 && u <= 0x44F) return static_cast<wchar_t>(u - 0x20);
    if (u >= 0x450 && u <= 0x45F) return static_cast<wchar_t>(u - 0x50);
    return c;
}

wchar_t LowCaseChar(wchar_t c) noexcept {
    const auto u = static_cast<std::uint32_t>(c);
    if (u < 0x80) return (u >= 'A' && u <= 'Z') ? static_cast<wchar_t>(u + 32) : c;
    if (u >= 0xC0 && u <= 0xDE && u != 0xD7) return static_cast<wchar_t>(u + 0x20);
    if (u == 0x178) return static_cast<wchar_t>(0xFF);
    // Dotted I (U+0130) lowers to plain i, as the system's non-Turkish mapping does.
    if (u == 0x130) return L'i';
    if (u == 0x131) return c;
    if (u >= 0x100 && u <= 0x137) return static_cast<wchar_t>(u | 1u);
    if (u >= 0x139 && u <= 0x148) return (u % 2 == 1) ? static_cast<wchar_t>(u + 1) : c;
    if (u >= 0x14A && u <= 0x177) return static_cast<wchar_t>(u | 1u);
    if (u >= 0x179 && u <= 0x17E) return (u % 2 == 1) ? static_cast<wchar_t>(u + 1) : c;
    if (u >= 0x391 && u <= 0x3A9 && u != 0x3A2) return static_cast<wchar_t>(u + 0x20);
    if (u >= 0x410 && u <= 0x42F) return static_cast<wchar_t>(u + 0x20);
    if (u >= 0x400 && u <= 0x40F) return static_cast<wchar_t>(u + 0x50);
    return c;
}

std::wstring UpperCase(std::wstring_view s) {
    std::wstring r(s);
    for (auto& c : r) c = UpCaseChar(c);
    return r;
}

std::wstring LowerCase(std::wstring_view s) {
    std::wstring r(s);
    for (auto& c : r) c = LowCaseChar(c);
    return r;
}

int CompareStr(std::wstring_view a, std::wstring_view b) noexcept {
    const std::size_t n = a.size() < b.size() ? a.size() : b.size();
    for (std::size_t i = 0; i < n; ++i) {
        auto x = static_cast<std::uint32_t>(a[i]), y = static_cast<std::uint32_t>(b[i]);
        if (x != y) return x < y ? -1 : 1;
    }
    return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

int CompareText(std::wstring_view a, std::wstring_view b) noexcept {
    const std::size_t n = a.size() < b.size() ? a.size() : b.size();
    for (std::size_t i = 0; i < n; ++i) {
        auto x = static_cast<std::uint32_t>(UpCaseChar(a[i])), y = static_cast<std::uint32_t>(UpCaseChar(b[i]));
        if (x != y) return x < y ? -1 : 1;
    }
    return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

bool SameText(std::wstring_view a, std::wstring_view b) noexcept {
    return a.size() == b.size() && CompareText(a, b) == 0;
}

bool StartsText(std::wstring_view prefix, std::wstring_view s) noexcept {
    return s.size() >= prefix.size() && SameText(s.substr(0, prefix.size()), prefix);
}

bool EndsText(std::wstring_view suffix, std::wstring_view s) noexcept {
    return s.size() >= suffix.size() && SameText(s.substr(s.size() - suffix.size()), suffix);
}

bool StartsStr(std::wstring_view prefix, std::wstring_view s) noexcept {
    return s.size() >= prefix.size() && s.substr(0, prefix.size()) == prefix;
}

bool EndsStr(std::wstring_view suffix, std::wstring_view s) noexcept {
    return s.size() >= suffix.size() && s.substr(s.size() - suffix.size()) == suffix;
}

std::size_t FindText(std::wstring_view s, std::wstring_view what, std::size_t from) noexcept {
    if (what.empty()) return from <= s.size() ? from : std::wstring_view::npos;
    for (std::size_t i = from; i + what.size() <= s.size(); ++i)
        if (SameText(s.substr(i, what.size()), what)) return i;
    return std::wstring_view::npos;
}

std::wstring Trim(std::wstring_view s) { return TrimRight(TrimLeft(s)); }

std::wstring TrimLeft(std::wstring_view s) {
    std::size_t i = 0;
    while (i < s.size() && static_cast<std::uint32_t>(s[i]) <= 32) ++i;
    return std::wstring(s.substr(i));
}

std::wstring TrimRight(std::wstring_view s) {
    std::size_t n = s.size();
    while (n > 0 && static_cast<std::uint32_t>(s[n - 1]) <= 32) --n;
    return std::wstring(s.substr(0, n));
}

namespace {

std::size_t FindIn(std::wstring_view s, std::wstring_view what, std::size_t from, bool ignoreCase) {
    return ignoreCase ? FindText(s, what, from) : s.find(what, from);
}

}  // namespace

std::wstring ReplaceFirst(std::wstring_view s, std::wstring_view from, std::wstring_view to, bool ignoreCase) {
    if (from.empty()) return std::wstring(s);
    const std::size_t at = FindIn(s, from, 0, ignoreCase);
    if (at == std::wstring_view::npos) return std::wstring(s);
    std::wstring r(s.substr(0, at));
    r.append(to);
    r.append(s.substr(at + from.size()));
    return r;
}

std::wstring ReplaceAll(std::wstring_view s, std::wstring_view from, std::wstring_view to, bool ignoreCase) {
    if (from.empty()) return std::wstring(s);
    std::wstring r;
    std::size_t pos = 0;
    for (;;) {
        const std::size_t at = FindIn(s, from, pos, ignoreCase);
        if (at == std::wstring_view::npos) break;
        r.append(s.substr(pos, at - pos));
        r.append(to);
        pos = at + from.size();
    }
    r.append(s.substr(pos));
    return r;
}

std::wstring IncludeTrailingPathDelimiter(std::wstring_view path) {
    std::wstring r(path);
    if (r.empty() || r.back() != kPathDelim) r.push_back(kPathDelim);
    return r;
}

std::wstring ExcludeTrailingPathDelimiter(std::wstring_view path) {
    std::wstring r(path);
    if (!r.empty() && r.back() == kPathDelim) r.pop_back();
    return r;
}

namespace {

std::size_t LastDelimiter(std::wstring_view path) {
    for (std::size_t i = path.size(); i > 0; --i)
        if (path[i - 1] == L'\\' || path[i - 1] == L':') return i - 1;
    return std::wstring_view::npos;
}

}  // namespace

std::wstring ExtractFileName(std::wstring_view path) {
    const std::size_t at = LastDelimiter(path);
    return std::wstring(at == std::wstring_view::npos ? path : path.substr(at + 1));
}

std::wstring ExtractFilePath(std::wstring_view path) {
    const std::size_t at = LastDelimiter(path);
    return at == std::wstring_view::npos ? std::wstring() : std::wstring(path.substr(0, at + 1));
}

std::wstring ExtractFileDir(std::wstring_view path) {
    const std::size_t at = LastDelimiter(path);
    if (at == std::wstring_view::npos) return {};
    std::size_t end = at;
    if (at > 0 && path[at] == L'\\' && path[at - 1] != L':' && path[at - 1] != L'\\') return std::wstring(path.substr(0, end));
    return std::wstring(path.substr(0, at + 1));
}

std::wstring ExtractFileExt(std::wstring_view path) {
    for (std::size_t i = path.size(); i > 0; --i) {
        const wchar_t c = path[i - 1];
        if (c == L'.') return std::wstring(path.substr(i - 1));
        if (c == L'\\' || c == L':') break;
    }
    return {};
}

bool IsDrivePath(std::wstring_view s) noexcept { return s.size() >= 3 && s[1] == L':' && s[2] == L'\\'; }

std::int64_t StrToInt64Def(std::wstring_view s, std::int64_t def) noexcept {
    std::size_t i = 0;
    while (i < s.size() && s[i] == L' ') ++i;
    bool negative = false;
    if (i < s.size() && (s[i] == L'-' || s[i] == L'+')) negative = s[i++] == L'-';
    int base = 10;
    if (i < s.size() && s[i] == L'$') {
        base = 16;
        ++i;
    } else if (i + 1 < s.size() && s[i] == L'0' && (s[i + 1] == L'x' || s[i + 1] == L'X')) {
        base = 16;
        i += 2;
    }
    if (i >= s.size()) return def;
    std::uint64_t v = 0;
    for (; i < s.size(); ++i) {
        const wchar_t c = s[i];
        int d;
        if (c >= L'0' && c <= L'9') d = c - L'0';
        else if (base == 16 && c >= L'a' && c <= L'f') d = c - L'a' + 10;
        else if (base == 16 && c >= L'A' && c <= L'F') d = c - L'A' + 10;
        else return def;
        if (v > (UINT64_MAX - static_cast<unsigned>(d)) / static_cast<unsigned>(base)) return def;
        v = v * base + d;
    }
    if (base == 10 && v > static_cast<std::uint64_t>(INT64_MAX) + (negative ? 1 : 0)) return def;
    return negative ? static_cast<std::int64_t>(0 - v) : static_cast<std::int64_t>(v);
}

int StrToIntDef(std::wstring_view s, int def) noexcept {
    const std::int64_t v = StrToInt64Def(s, static_cast<std::int64_t>(INT64_MIN));
    if (v == INT64_MIN) return def;
    // Hex literals may fill all 32 bits ($FFFFFFFF is -1), as Delphi reads them.
    if (v >= INT32_MIN && v <= INT32_MAX) return static_cast<int>(v);
    const bool hex = s.find(L'$') != std::wstring_view::npos || s.find(L'x') != std::wstring_view::npos ||
                     s.find(L'X') != std::wstring_view::npos;
    if (v > INT32_MAX && v <= static_cast<std::int64_t>(UINT32_MAX) && hex)
        return static_cast<int>(static_cast<std::uint32_t>(v));
    return def;
}

std::wstring IntToStr(std::int64_t v) { return std::to_wstring(v); }

const wchar_t* BoolToStr(bool v) noexcept { return v ? L"True" : L"False"; }

namespace {

[[noreturn]] void FormatError(std::wstring_view format) {
    ThrowGeneral(L"Format '" + std::wstring(format) + L"' invalid or incompatible with argument");
}

std::wstring Pad(std::wstring body, int width, bool left) {
    if (width > 0 && body.size() < static_cast<std::size_t>(width)) {
        std::wstring fill(static_cast<std::size_t>(width) - body.size(), L' ');
        body = left ? body + fill : fill + body;
    }
    return body;
}

std::wstring FromAscii(const char* s) {
    std::wstring r;
    for (; *s; ++s) r.push_back(static_cast<wchar_t>(static_cast<unsigned char>(*s)));
    return r;
}

std::wstring Thousands(std::wstring digits) {
    // digits may start with '-'; group the integer part by three with ','.
    std::size_t start = (!digits.empty() && digits[0] == L'-') ? 1 : 0;
    std::size_t dot = digits.find(L'.');
    std::size_t end = dot == std::wstring::npos ? digits.size() : dot;
    for (std::ptrdiff_t i = static_cast<std::ptrdiff_t>(end) - 3; i > static_cast<std::ptrdiff_t>(start); i -= 3)
        digits.insert(static_cast<std::size_t>(i), 1, L',');
    return digits;
}

// Pads the exponent of C's "1.5E+03" to Delphi's three digits ("1.5E+003").
std::wstring ThreeDigitExponent(std::wstring text) {
    const std::size_t e = text.find(L'E');
    if (e == std::wstring::npos || e + 2 > text.size()) return text;
    const std::size_t digits = text.size() - (e + 2);
    if (digits < 3) text.insert(e + 2, 3 - digits, L'0');
    return text;
}

}  // namespace

std::wstring Format(std::wstring_view format, std::initializer_list<FormatArg> args) {
    std::wstring out;
    std::size_t next = 0;
    const FormatArg* argv = args.begin();
    const std::size_t argc = args.size();
    for (std::size_t i = 0; i < format.size(); ++i) {
        const wchar_t c = format[i];
        if (c != L'%') {
            out.push_back(c);
            continue;
        }
        if (++i >= format.size()) FormatError(format);
        if (format[i] == L'%') {
            out.push_back(L'%');
            continue;
        }
        // Optional "index:" (digits followed by a colon).
        std::size_t j = i;
        while (j < format.size() && format[j] >= L'0' && format[j] <= L'9') ++j;
        if (j < format.size() && format[j] == L':' && j > i) {
            next = static_cast<std::size_t>(StrToIntDef(format.substr(i, j - i), 0));
            i = j + 1;
        }
        bool left = false;
        if (i < format.size() && format[i] == L'-') {
            left = true;
            ++i;
        }
        int width = -1;
        if (i < format.size() && format[i] >= L'0' && format[i] <= L'9') {
            width = 0;
            while (i < format.size() && format[i] >= L'0' && format[i] <= L'9') width = width * 10 + (format[i++] - L'0');
        }
        int precision = -1;
        if (i < format.size() && format[i] == L'.') {
            ++i;
            precision = 0;
            while (i < format.size() && format[i] >= L'0' && format[i] <= L'9')
                precision = precision * 10 + (format[i++] - L'0');
        }
        if (i >= format.size() || next >= argc) FormatError(format);
        const FormatArg& arg = argv[next++];
        const wchar_t type = static_cast<wchar_t>(LowCaseChar(format[i]));
        std::wstring body;
        char buf[128];
        switch (type) {
            case L'd':
            case L'u': {
                if (arg.kind() == FormatArg::Kind::Floating || arg.kind() == FormatArg::Kind::Text) FormatError(format);
                if (type == L'd') {
                    std::snprintf(buf, sizeof buf, "%lld", static_cast<long long>(arg.AsSigned()));
                } else {
                    // As for x: a negative 32-bit value prints as its unsigned 32-bit pattern.
                    std::uint64_t v = arg.AsUnsigned();
                    if (arg.kind() == FormatArg::Kind::Signed && arg.AsSigned() < 0 && arg.AsSigned() >= INT32_MIN)
                        v &= 0xFFFFFFFFu;
                    std::snprintf(buf, sizeof buf, "%llu", static_cast<unsigned long long>(v));
                }
                body = FromAscii(buf);
                if (precision > 0) {
                    const bool neg = !body.empty() && body[0] == L'-';
                    std::wstring digits = neg ? body.substr(1) : body;
                    if (digits.size() < static_cast<std::size_t>(precision))
                        digits.insert(0, static_cast<std::size_t>(precision) - digits.size(), L'0');
                    body = neg ? L"-" + digits : digits;
                }
                break;
            }
            case L'x': {
                if (arg.kind() == FormatArg::Kind::Floating || arg.kind() == FormatArg::Kind::Text) FormatError(format);
                std::uint64_t v = arg.AsUnsigned();
                // A negative 32-bit value prints as its 32-bit pattern, as Delphi's Integer does.
                if (arg.kind() == FormatArg::Kind::Signed && arg.AsSigned() < 0 && arg.AsSigned() >= INT32_MIN)
                    v &= 0xFFFFFFFFu;
                std::snprintf(buf, sizeof buf, "%llX", static_cast<unsigned long long>(v));
                body = FromAscii(buf);
                if (precision > 0 && body.size() < static_cast<std::size_t>(precision))
                    body.insert(0, static_cast<std::size_t>(precision) - body.size(), L'0');
                break;
            }
            case L's': {
                if (arg.kind() != FormatArg::Kind::Text) FormatError(format);
                body = std::wstring(arg.AsText());
                if (precision >= 0 && body.size() > static_cast<std::size_t>(precision))
                    body.resize(static_cast<std::size_t>(precision));
                break;
            }
            case L'f':
            case L'e':
            case L'g':
            case L'n': {
                double v;
                if (arg.kind() == FormatArg::Kind::Floating) v = arg.AsFloating();
                else FormatError(format);
                const int p = precision >= 0 ? precision : (type == L'g' || type == L'e' ? 15 : 2);
                if (type == L'e') {
                    // Delphi's precision for e counts all mantissa digits and its
                    // exponent has at least three digits: 1.23450000000000E+003.
                    std::snprintf(buf, sizeof buf, "%.*E", (p < 1 ? 1 : (p > 17 ? 17 : p)) - 1, v);
                    body = ThreeDigitExponent(FromAscii(buf));
                    break;
                }
                else if (type == L'g') std::snprintf(buf, sizeof buf, "%.*G", p, v);
                else std::snprintf(buf, sizeof buf, "%.*f", p, v);
                body = FromAscii(buf);
                if (type == L'n') body = Thousands(body);
                break;
            }
            default:
                FormatError(format);
        }
        out += Pad(std::move(body), width, left);
    }
    return out;
}

}  // namespace vt
