#include "runtime/RegistryReader.h"

#include "platform/Handles.h"
#include "platform/SysCalls.h"
#include "platform/Win32.h"
#include "runtime/Registry.h"

namespace vt {

namespace {

using platform::SysCalls;

class WindowsKey final : public IRegistryKey {
public:
    explicit WindowsKey(platform::unique_hkey key) noexcept : owner_(std::move(key)), key_(owner_.Get()) {}
    // Closed through the syscall table, so tests see the close.
    ~WindowsKey() override {
        if (owner_) SysCalls().RegCloseKey(owner_.Release());
    }
    WindowsKey(const WindowsKey&) = delete;
    WindowsKey& operator=(const WindowsKey&) = delete;

    std::vector<std::wstring> SubKeyNames() const override { return Names(true); }
    std::vector<std::wstring> ValueNames() const override { return Names(false); }

    std::optional<RegistryValue> ReadValue(std::wstring_view name) const override {
        const std::wstring valueName(name);
        DWORD type = REG_NONE;
        DWORD size = 0;
        LONG rc = SysCalls().RegQueryValueExW(key_, valueName.c_str(), nullptr, &type, nullptr, &size);
        // The value may grow between the size query and the read: retry with the new size.
        for (int attempt = 0; attempt < 4 && rc == ERROR_SUCCESS; ++attempt) {
            RegistryValue value;
            value.data.resize(size);
            DWORD got = size;
            rc = SysCalls().RegQueryValueExW(key_, valueName.c_str(), nullptr, &type,
                                             value.data.empty() ? nullptr : value.data.data(), &got);
            if (rc == ERROR_SUCCESS) {
                value.type = type;
                value.data.resize(got);
                return value;
            }
            if (rc == ERROR_MORE_DATA) {
                size = got;
                rc = ERROR_SUCCESS;
            }
        }
        return std::nullopt;
    }

private:
    std::vector<std::wstring> Names(bool subKeys) const {
        std::vector<std::wstring> names;
        DWORD maxKeyChars = 0, maxValueChars = 0;
        if (SysCalls().RegQueryInfoKeyW(key_, nullptr, nullptr, nullptr, nullptr, &maxKeyChars, nullptr, nullptr,
                                        &maxValueChars, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            return names;
        // Room for the longest name plus its terminator; a name added meanwhile
        // may be longer, so ERROR_MORE_DATA grows the buffer and retries the index.
        std::vector<wchar_t> buffer((subKeys ? maxKeyChars : maxValueChars) + 2);
        for (DWORD index = 0;;) {
            DWORD chars = static_cast<DWORD>(buffer.size());
            const LONG rc = subKeys ? SysCalls().RegEnumKeyExW(key_, index, buffer.data(), &chars, nullptr, nullptr,
                                                               nullptr, nullptr)
                                    : SysCalls().RegEnumValueW(key_, index, buffer.data(), &chars, nullptr, nullptr,
                                                               nullptr, nullptr);
            if (rc == ERROR_MORE_DATA && buffer.size() < 32768) {
                buffer.resize(buffer.size() * 2);
                continue;
            }
            if (rc != ERROR_SUCCESS) break;
            names.emplace_back(buffer.data(), chars);
            ++index;
        }
        return names;
    }

    platform::unique_hkey owner_;
    HKEY key_;  // borrowed from owner_
};

class WindowsRegistry final : public IRegistryReader {
public:
    std::unique_ptr<IRegistryKey> OpenKey(RegistryRoot root, std::wstring_view path,
                                          RegistryView view) const override {
        std::wstring subKey(path);
        if (!subKey.empty() && subKey.front() == L'\\') subKey.erase(0, 1);
        if (!subKey.empty() && subKey.back() == L'\\') subKey.pop_back();
        REGSAM access = KEY_READ;
        if (view == RegistryView::Force64) access |= KEY_WOW64_64KEY;
        if (view == RegistryView::Force32) access |= KEY_WOW64_32KEY;
        platform::unique_hkey key;
        if (SysCalls().RegOpenKeyExW(RegistryRootToHKEY(root), subKey.c_str(), 0, access, key.Put()) != ERROR_SUCCESS ||
            !key)
            return nullptr;
        return std::make_unique<WindowsKey>(std::move(key));
    }
};

}  // namespace

const IRegistryReader& SystemRegistry() {
    static const WindowsRegistry registry;
    return registry;
}

}  // namespace vt
