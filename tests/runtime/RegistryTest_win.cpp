#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "platform/Handles.h"
#include "platform/SysCalls.h"
#include "platform/Win32.h"
#include "runtime/Exception.h"
#include "runtime/Registry.h"
#include "runtime/StringList.h"

namespace vt {
namespace {

// Each test works below HKEY_CURRENT_USER\Software\VantrelTests\<TestName>,
// deleted before and after it.
class RegistryTest : public ::testing::Test {
protected:
    void SetUp() override {
        path_ = std::wstring(L"Software\\VantrelTests\\") +
                std::wstring(name_.begin(), name_.end());
        ::RegDeleteTreeW(HKEY_CURRENT_USER, path_.c_str());
        ASSERT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, path_.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                    key_.Put(), nullptr),
                  ERROR_SUCCESS);
    }
    void TearDown() override {
        key_.Reset();
        ::RegDeleteTreeW(HKEY_CURRENT_USER, path_.c_str());
    }
    // Stores raw bytes, so values can be shaped the way careless writers leave them.
    void SetRaw(const std::wstring& name, DWORD type, const void* data, std::size_t size) {
        ASSERT_EQ(::RegSetValueExW(key_.Get(), name.c_str(), 0, type, static_cast<const BYTE*>(data),
                                   static_cast<DWORD>(size)),
                  ERROR_SUCCESS);
    }
    void SetText(const std::wstring& name, DWORD type, const std::wstring& text, std::size_t bytes) {
        SetRaw(name, type, text.c_str(), bytes);
    }

    std::string name_ = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    std::wstring path_;
    platform::unique_hkey key_;
};

TEST_F(RegistryTest, ReadsEachTypeAndFallsBackToTheDefaultOnMissingOrWrongType) {
    constexpr std::int64_t kAsStored = -2;
    const std::wstring longText(5000, L'x');
    SetText(L"sz", REG_SZ, L"hello", 12);
    SetText(L"szNoTerminator", REG_SZ, L"abc", 6);
    SetText(L"szOddSize", REG_SZ, L"abc", 7);
    SetText(L"szEmbeddedNull", REG_SZ, std::wstring(L"ab\0cd", 5), 12);
    SetText(L"szEmpty", REG_SZ, L"", 0);
    SetText(L"expand", REG_EXPAND_SZ, L"%TEMP%\\x", 18);
    SetText(L"long", REG_SZ, longText, (longText.size() + 1) * 2);
    const DWORD dword = 0xFFFFFFFEu;
    SetRaw(L"dword", REG_DWORD, &dword, sizeof dword);
    const std::uint64_t qword = 0x123456789ull;
    SetRaw(L"qword", REG_QWORD, &qword, sizeof qword);
    const std::uint8_t bytes[] = {1, 0, 2, 0, 0};
    SetRaw(L"binary", REG_BINARY, bytes, sizeof bytes);

    TRegistry reg;
    ASSERT_TRUE(reg.OpenKeyReadOnly(L"\\" + path_));
    const struct {
        const wchar_t* name;
        std::wstring text;
        std::int32_t integer;
        std::int64_t int64;
        std::int64_t size;
    } cases[] = {
        {L"sz", L"hello", -7, -7, 12},
        // Wine adds the missing terminator when storing these; the accessor
        // must report what the registry holds, whichever it is.
        {L"szNoTerminator", L"abc", -7, -7, kAsStored},
        {L"szOddSize", L"abc", -7, -7, kAsStored},
        {L"szEmbeddedNull", L"ab", -7, -7, 12},
        {L"szEmpty", L"", -7, -7, 0},
        {L"expand", L"%TEMP%\\x", -7, -7, 18},
        {L"long", longText, -7, -7, 10002},
        {L"dword", L"def", -2, -2, 4},
        {L"qword", L"def", -7, 0x123456789ll, 8},
        {L"binary", L"def", -7, -7, 5},
        {L"missing", L"def", -7, -7, -1},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(reg.ReadStringDef(c.name, L"def"), c.text) << c.name;
        EXPECT_EQ(reg.ReadIntegerDef(c.name, -7), c.integer) << c.name;
        EXPECT_EQ(reg.ReadInt64Def(c.name, -7), c.int64) << c.name;
        DWORD stored = 0;
        const std::int64_t size = c.size != kAsStored ? c.size
                                  : ::RegQueryValueExW(key_.Get(), c.name, nullptr, nullptr, nullptr, &stored) == 0
                                      ? std::int64_t{stored}
                                      : -1;
        EXPECT_EQ(reg.GetDataSize(c.name), size) << c.name;
        EXPECT_EQ(reg.ValueExists(c.name), size >= 0) << c.name;
    }
    EXPECT_EQ(reg.ReadBinaryData(L"binary"), std::vector<std::uint8_t>(bytes, bytes + sizeof bytes));
    EXPECT_EQ(reg.ReadBinaryDataDef(L"sz", {9}), std::vector<std::uint8_t>{9});
    EXPECT_TRUE(reg.ReadBoolDef(L"dword", false));
    EXPECT_EQ(reg.GetDataType(L"qword"), std::optional<std::uint32_t>(REG_QWORD));
    EXPECT_EQ(reg.GetDataType(L"missing"), std::nullopt);
}

TEST_F(RegistryTest, PlainReadsThrowOnWrongTypeAndOnMissingNumbers) {
    SetText(L"sz", REG_SZ, L"1", 4);
    TRegistry reg;
    ASSERT_TRUE(reg.OpenKeyReadOnly(L"\\" + path_));
    EXPECT_EQ(reg.ReadString(L"missing"), L"");
    EXPECT_THROW(reg.ReadInteger(L"sz"), Exception);
    EXPECT_THROW(reg.ReadInteger(L"missing"), Exception);
    EXPECT_THROW(reg.ReadInt64(L"missing"), Exception);
    EXPECT_THROW(reg.ReadBool(L"sz"), Exception);
    EXPECT_THROW(reg.ReadBinaryData(L"sz"), Exception);
}

TEST_F(RegistryTest, PathsAreRelativeToTheOpenKeyUnlessTheyStartWithABackslash) {
    TRegistry reg(RegistryRoot::CurrentUser, KEY_ALL_ACCESS);
    EXPECT_FALSE(reg.OpenKey(L"\\" + path_ + L"\\A", false));
    EXPECT_EQ(reg.CurrentKey(), nullptr);
    ASSERT_TRUE(reg.OpenKey(L"\\" + path_ + L"\\", false));
    EXPECT_EQ(reg.CurrentPath(), path_);
    ASSERT_TRUE(reg.OpenKey(L"A\\B", true));
    EXPECT_EQ(reg.CurrentPath(), path_ + L"\\A\\B");
    reg.WriteString(L"s", L"text");
    reg.WriteInteger(L"i", -5);
    reg.WriteInt64(L"q", -(1ll << 40));
    EXPECT_FALSE(reg.OpenKey(L"Missing", false));
    EXPECT_EQ(reg.CurrentPath(), path_ + L"\\A\\B");  // a failed open keeps the key that was open
    EXPECT_EQ(reg.ReadString(L"s"), L"text");
    EXPECT_EQ(reg.ReadInteger(L"i"), -5);
    EXPECT_EQ(reg.ReadInt64(L"q"), -(1ll << 40));
    EXPECT_EQ(reg.ReadInt64(L"i"), -5);
    EXPECT_EQ(reg.GetDataSize(L"s"), 10);

    ASSERT_TRUE(reg.OpenKey(L"\\" + path_, false));
    EXPECT_TRUE(reg.HasSubKeys());
    EXPECT_TRUE(reg.KeyExists(L"A\\B"));
    EXPECT_TRUE(reg.KeyExists(L"\\" + path_ + L"\\A"));
    EXPECT_FALSE(reg.KeyExists(L"B"));
    reg.CloseKey();
    EXPECT_EQ(reg.CurrentPath(), L"");
    EXPECT_TRUE(reg.KeyExists(path_ + L"\\A\\B"));  // no key open: from the root
    EXPECT_THROW(reg.WriteString(L"s", L"x"), Exception);
    EXPECT_EQ(reg.ReadStringDef(L"s", L"none"), L"none");
    EXPECT_FALSE(reg.HasSubKeys());
}

LONG WINAPI QueryInfoUnderstatingNames(HKEY key, LPWSTR cls, LPDWORD clsChars, LPDWORD reserved, LPDWORD subKeys,
                                       LPDWORD maxSubKeyChars, LPDWORD maxClassChars, LPDWORD values,
                                       LPDWORD maxValueNameChars, LPDWORD maxValueBytes, LPDWORD securityBytes,
                                       PFILETIME lastWrite) {
    const LONG rc = ::RegQueryInfoKeyW(key, cls, clsChars, reserved, subKeys, maxSubKeyChars, maxClassChars, values,
                                       maxValueNameChars, maxValueBytes, securityBytes, lastWrite);
    if (maxSubKeyChars != nullptr) *maxSubKeyChars = 1;
    if (maxValueNameChars != nullptr) *maxValueNameChars = 1;
    return rc;
}

TEST_F(RegistryTest, EnumeratesNamesLongerThanTheFirstBuffer) {
    const std::wstring longValue(2000, L'v');
    const std::wstring longKey(250, L'k');
    for (const auto* name : {L"one", L"", L"three"}) SetText(name, REG_SZ, L"x", 4);
    SetText(longValue, REG_SZ, L"x", 4);
    for (const auto& sub : {std::wstring(L"S1"), longKey}) {
        platform::unique_hkey child;
        ASSERT_EQ(::RegCreateKeyExW(key_.Get(), sub.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, child.Put(), nullptr),
                  ERROR_SUCCESS);
    }
    TRegistry reg;
    ASSERT_TRUE(reg.OpenKeyReadOnly(L"\\" + path_));
    for (const bool understated : {false, true}) {
        // Understated maxima make the first buffer too small, as when names
        // grow after the query: the reads must retry with a larger one.
        std::optional<platform::ScopedSysCall<decltype(&::RegQueryInfoKeyW)>> shrink;
        if (understated) shrink.emplace(&platform::SysCallTable::RegQueryInfoKeyW, &QueryInfoUnderstatingNames);
        auto values = reg.GetValueNames();
        std::sort(values.begin(), values.end());
        EXPECT_EQ(values, (std::vector<std::wstring>{L"", L"one", L"three", longValue})) << understated;
        StringList keys;
        keys.Add(L"stale");
        reg.GetKeyNames(keys);
        EXPECT_EQ(keys.Count(), 2) << understated;
        EXPECT_TRUE(keys.IndexOf(longKey) >= 0 && keys.IndexOf(L"S1") >= 0) << understated;
    }
    ASSERT_TRUE(reg.OpenKeyReadOnly(L"S1"));
    EXPECT_FALSE(reg.HasSubKeys());
    EXPECT_TRUE(reg.GetKeyNames().empty());
}

LONG WINAPI DenyOpen(HKEY, LPCWSTR, DWORD, REGSAM, PHKEY result) {
    *result = reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(0xBAD));  // garbage the caller must not close
    return ERROR_ACCESS_DENIED;
}

TEST_F(RegistryTest, AnInjectedAccessDeniedFailsTheOpenUntilTheGuardRestoresTheCall) {
    TRegistry reg;
    {
        platform::ScopedSysCall deny(&platform::SysCallTable::RegOpenKeyExW, &DenyOpen);
        EXPECT_FALSE(reg.OpenKeyReadOnly(L"\\" + path_));
        EXPECT_EQ(reg.CurrentKey(), nullptr);
        EXPECT_TRUE(reg.KeyExists(path_));  // present, only unreadable
    }
    EXPECT_TRUE(reg.OpenKeyReadOnly(L"\\" + path_));
    EXPECT_EQ(reg.CurrentPath(), path_);
}

}  // namespace
}  // namespace vt
