#include <cstdlib>

#include "runtime/FileUtils.h"
#include "runtime/Utf.h"

namespace vt::FileUtils {

std::wstring SystemWindowsDirectory() { return L"C:\\Windows\\"; }

// The same rules as ExpandEnvironmentStringsW, over the process environment
// (whose names are case-sensitive here).
std::wstring ExpandEnvironment(std::wstring_view text) {
    std::wstring result;
    std::size_t pos = 0;
    while (pos < text.size()) {
        const auto open = text.find(L'%', pos);
        const auto close = open == std::wstring_view::npos ? open : text.find(L'%', open + 1);
        if (close == std::wstring_view::npos) break;
        result.append(text.substr(pos, open - pos));
        const std::wstring_view name = text.substr(open + 1, close - open - 1);
        const char* value = name.empty() ? nullptr : std::getenv(ToUtf8(name).c_str());
        // An unknown reference stays as written, both percent signs included.
        if (value != nullptr)
            result += FromUtf8(value);
        else
            result.append(text.substr(open, close - open + 1));
        pos = close + 1;
    }
    result.append(text.substr(pos));
    return result;
}

}  // namespace vt::FileUtils
