#include "Text.h"

#include <cstdint>
#include <cstdio>

namespace kxb {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

void AppendCodePoint(std::wstring& out, char32_t cp) {
    if constexpr (sizeof(wchar_t) == 2) {
        if (cp >= 0x10000) {
            cp -= 0x10000;
            out.push_back(static_cast<wchar_t>(0xD800 + (cp >> 10)));
            out.push_back(static_cast<wchar_t>(0xDC00 + (cp & 0x3FF)));
            return;
        }
    }
    out.push_back(static_cast<wchar_t>(cp));
}

void AppendUtf8(std::string& out, char32_t cp) {
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

}  // namespace

std::wstring WideFromUtf8(std::string_view text) {
    std::wstring out;
    out.reserve(text.size());
    std::size_t i = 0;
    while (i < text.size()) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c < 0x80) {
            out.push_back(static_cast<wchar_t>(c));
            ++i;
            continue;
        }
        int extra = 0;
        char32_t cp = 0;
        char32_t minimum = 0;
        if ((c & 0xE0) == 0xC0) {
            extra = 1, cp = c & 0x1F, minimum = 0x80;
        } else if ((c & 0xF0) == 0xE0) {
            extra = 2, cp = c & 0x0F, minimum = 0x800;
        } else if ((c & 0xF8) == 0xF0) {
            extra = 3, cp = c & 0x07, minimum = 0x10000;
        } else {
            AppendCodePoint(out, kReplacement);
            ++i;
            continue;
        }
        if (i + extra >= text.size()) {  // sequence cut off by the end
            AppendCodePoint(out, kReplacement);
            ++i;
            continue;
        }
        bool ok = true;
        for (int k = 1; k <= extra; ++k) {
            const auto t = static_cast<unsigned char>(text[i + k]);
            if ((t & 0xC0) != 0x80) {
                ok = false;
                break;
            }
            cp = (cp << 6) | (t & 0x3F);
        }
        if (!ok || cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
            AppendCodePoint(out, kReplacement);
            ++i;
            continue;
        }
        AppendCodePoint(out, cp);
        i += extra + 1;
    }
    return out;
}

std::string Utf8FromWide(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t cp = static_cast<char32_t>(text[i]);
        if constexpr (sizeof(wchar_t) == 2) {
            if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < text.size()) {
                const char32_t low = static_cast<char32_t>(text[i + 1]);
                if (low >= 0xDC00 && low <= 0xDFFF) {
                    cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
                    ++i;
                }
            }
        }
        if ((cp >= 0xD800 && cp <= 0xDFFF) || cp > 0x10FFFF) cp = kReplacement;
        AppendUtf8(out, cp);
    }
    return out;
}

std::wstring PathText(const std::filesystem::path& path) {
#if defined(_WIN32)
    return path.wstring();
#else
    return WideFromUtf8(path.string());
#endif
}

std::filesystem::path PathFromUtf8(std::string_view text) {
#if defined(_WIN32)
    return std::filesystem::path(WideFromUtf8(text));
#else
    return std::filesystem::path(std::string(text));
#endif
}

std::string Utf8Path(const std::filesystem::path& path) {
#if defined(_WIN32)
    return Utf8FromWide(path.wstring());
#else
    return path.string();
#endif
}

std::wstring FormatUnixSeconds(long long seconds) {
    if (seconds <= 0) return {};
    // Civil date from days since 1970-01-01 (Howard Hinnant's algorithm).
    long long days = seconds / 86400;
    const long long rest = seconds % 86400;
    days += 719468;
    const long long era = days / 146097;
    const long long doe = days - era * 146097;
    const long long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    long long year = yoe + era * 400;
    const long long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const long long mp = (5 * doy + 2) / 153;
    const long long day = doy - (153 * mp + 2) / 5 + 1;
    const long long month = mp < 10 ? mp + 3 : mp - 9;
    if (month <= 2) ++year;
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%04lld-%02lld-%02lld %02lld:%02lld:%02lld", year, month, day,
                  rest / 3600, rest / 60 % 60, rest % 60);
    return WideFromUtf8(buffer);
}

}  // namespace kxb
