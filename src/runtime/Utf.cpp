#include "runtime/Utf.h"

#include <cstdint>

namespace vt {

namespace {

constexpr bool kWideIs16 = sizeof(wchar_t) == 2;

// Code points of a wide string; on Windows surrogate pairs are joined.
template <class F>
void ForEachCodePoint(std::wstring_view text, F&& f) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t c = static_cast<char32_t>(text[i]);
        if constexpr (kWideIs16) {
            c &= 0xFFFF;
            if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size()) {
                char32_t low = static_cast<char32_t>(text[i + 1]) & 0xFFFF;
                if (low >= 0xDC00 && low <= 0xDFFF) {
                    c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
                    ++i;
                }
            }
        }
        f(c);
    }
}

void AppendWide(std::wstring& out, char32_t c) {
    if constexpr (kWideIs16) {
        if (c >= 0x10000) {
            c -= 0x10000;
            out.push_back(static_cast<wchar_t>(0xD800 + (c >> 10)));
            out.push_back(static_cast<wchar_t>(0xDC00 + (c & 0x3FF)));
            return;
        }
    }
    out.push_back(static_cast<wchar_t>(c));
}

}  // namespace

std::u16string ToUtf16(std::wstring_view text) {
    std::u16string out;
    out.reserve(text.size());
    if constexpr (kWideIs16) {
        for (wchar_t c : text) out.push_back(static_cast<char16_t>(c));
    } else {
        for (wchar_t wc : text) {
            auto c = static_cast<char32_t>(wc);
            if (c >= 0x10000 && c <= 0x10FFFF) {
                c -= 0x10000;
                out.push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
                out.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
            } else {
                out.push_back(static_cast<char16_t>(c));
            }
        }
    }
    return out;
}

std::wstring FromUtf16(const char16_t* units, std::size_t count) {
    std::wstring out;
    out.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        char32_t c = units[i];
        if constexpr (!kWideIs16) {
            if (c >= 0xD800 && c <= 0xDBFF && i + 1 < count && units[i + 1] >= 0xDC00 &&
                units[i + 1] <= 0xDFFF) {
                c = 0x10000 + ((c - 0xD800) << 10) + (units[i + 1] - 0xDC00);
                ++i;
            }
        }
        out.push_back(static_cast<wchar_t>(c));
    }
    return out;
}

std::wstring FromUtf16(std::u16string_view units) { return FromUtf16(units.data(), units.size()); }

std::string ToUtf8(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    ForEachCodePoint(text, [&](char32_t c) {
        if (c < 0x80) {
            out.push_back(static_cast<char>(c));
        } else if (c < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (c >> 6)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else if (c < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (c >> 12)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (c >> 18)));
            out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        }
    });
    return out;
}

std::wstring FromUtf8(std::string_view text) {
    std::wstring out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        auto b = static_cast<unsigned char>(text[i]);
        char32_t c;
        std::size_t extra;
        if (b < 0x80) {
            c = b;
            extra = 0;
        } else if ((b & 0xE0) == 0xC0) {
            c = b & 0x1F;
            extra = 1;
        } else if ((b & 0xF0) == 0xE0) {
            c = b & 0x0F;
            extra = 2;
        } else if ((b & 0xF8) == 0xF0) {
            c = b & 0x07;
            extra = 3;
        } else {
            out.push_back(static_cast<wchar_t>(0xFFFD));
            ++i;
            continue;
        }
        bool ok = true;
        for (std::size_t k = 1; k <= extra; ++k) {
            if (i + k >= text.size()) {
                ok = false;
                break;
            }
            auto cb = static_cast<unsigned char>(text[i + k]);
            if ((cb & 0xC0) != 0x80) {
                ok = false;
                break;
            }
            c = (c << 6) | (cb & 0x3F);
        }
        if (!ok) {
            out.push_back(static_cast<wchar_t>(0xFFFD));
            ++i;
            continue;
        }
        AppendWide(out, c);
        i += extra + 1;
    }
    return out;
}

std::size_t Utf16Length(std::wstring_view text) {
    if constexpr (kWideIs16) return text.size();
    std::size_t n = 0;
    for (wchar_t c : text) {
        const auto v = static_cast<std::uint32_t>(c);
        n += v > 0xFFFFu ? 2 : 1;
    }
    return n;
}

}  // namespace vt
