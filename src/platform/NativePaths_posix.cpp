#include <array>
#include <cstdint>

#include "platform/NativePaths.h"

namespace vt::platform {

namespace {
std::array<std::optional<std::wstring>, 26>& DriveRoots() {
    static std::array<std::optional<std::wstring>, 26> roots;
    return roots;
}
int DriveIndex(wchar_t letter) noexcept {
    if (letter >= L'a' && letter <= L'z') return letter - L'a';
    if (letter >= L'A' && letter <= L'Z') return letter - L'A';
    return -1;
}
}  // namespace

void SetDriveRoot(wchar_t letter, std::optional<std::wstring> hostFolder) {
    const int i = DriveIndex(letter);
    if (i < 0) return;
    if (hostFolder) {
        while (hostFolder->size() > 1 && (hostFolder->back() == L'/' || hostFolder->back() == L'\\'))
            hostFolder->pop_back();
    }
    DriveRoots()[static_cast<std::size_t>(i)] = std::move(hostFolder);
}

std::wstring HostPath(std::wstring_view path) {
    std::wstring result;
    if (path.size() >= 2 && path[1] == L':') {
        const int i = DriveIndex(path[0]);
        if (i >= 0 && DriveRoots()[static_cast<std::size_t>(i)]) {
            result = *DriveRoots()[static_cast<std::size_t>(i)];
            path.remove_prefix(2);
        }
    }
    result.append(path);
    for (auto& c : result)
        if (c == L'\\') c = L'/';
    return result;
}

std::string HostBytes(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto cp = static_cast<std::uint32_t>(text[i]);
        // A UTF-16 surrogate pair held in two wchar_t units (data read from Windows formats).
        if (cp >= 0xD800 && cp < 0xDC00 && i + 1 < text.size()) {
            const auto low = static_cast<std::uint32_t>(text[i + 1]);
            if (low >= 0xDC00 && low < 0xE000) {
                cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
                ++i;
            }
        }
        if (cp > 0x10FFFF || (cp >= 0xD800 && cp < 0xE000)) cp = 0xFFFD;
        if (cp < 0x80) {
            out += static_cast<char>(cp);
        } else if (cp < 0x800) {
            out += static_cast<char>(0xC0 | (cp >> 6));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000) {
            out += static_cast<char>(0xE0 | (cp >> 12));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (cp >> 18));
            out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        }
    }
    return out;
}

std::wstring FromHostBytes(std::string_view bytes) {
    std::wstring out;
    out.reserve(bytes.size());
    bool ascii = true;
    for (char b : bytes) ascii = ascii && static_cast<unsigned char>(b) < 0x80;
    if (ascii) return out.assign(bytes.begin(), bytes.end());
    std::size_t i = 0;
    while (i < bytes.size()) {
        const auto b = static_cast<unsigned char>(bytes[i]);
        const std::size_t extra = b < 0x80 ? 0 : (b >> 5) == 0x6 ? 1 : (b >> 4) == 0xE ? 2 : (b >> 3) == 0x1E ? 3 : 99;
        std::uint32_t cp = extra == 0 ? b : extra == 99 ? 0u : (b & (0x3Fu >> extra));
        bool ok = extra != 99 && i + extra < bytes.size();
        for (std::size_t k = 1; ok && k <= extra; ++k) {
            const auto c = static_cast<unsigned char>(bytes[i + k]);
            if ((c & 0xC0) != 0x80) ok = false;
            cp = (cp << 6) | (c & 0x3F);
        }
        if (!ok) {
            out += L'\xFFFD';
            ++i;
            continue;
        }
        out += static_cast<wchar_t>(cp);
        i += extra + 1;
    }
    return out;
}

}  // namespace vt::platform
