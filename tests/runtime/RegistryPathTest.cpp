#include <gtest/gtest.h>

#include "runtime/RegistryPath.h"

namespace vt {
namespace {

TEST(RegistryPath, RootNamesRoundTripAndShortFormsParse) {
    const std::pair<const wchar_t*, std::optional<RegistryRoot>> cases[] = {
        {L"HKEY_CLASSES_ROOT", RegistryRoot::ClassesRoot},   {L"HKCR", RegistryRoot::ClassesRoot},
        {L"HKEY_CURRENT_USER", RegistryRoot::CurrentUser},   {L"hkcu", RegistryRoot::CurrentUser},
        {L"hkey_local_machine", RegistryRoot::LocalMachine}, {L"HKLM", RegistryRoot::LocalMachine},
        {L"HKEY_USERS", RegistryRoot::Users},                {L"HKU", RegistryRoot::Users},
        {L"HKEY_CURRENT_CONFIG", RegistryRoot::CurrentConfig}, {L"HKCC", RegistryRoot::CurrentConfig},
        {L"HKEY_PERFORMANCE_DATA", RegistryRoot::PerformanceData}, {L"HKEY_DYN_DATA", RegistryRoot::DynData},
        {L"", std::nullopt}, {L"HKEY_CURRENT", std::nullopt}, {L"HKCUX", std::nullopt}, {L"Software", std::nullopt},
    };
    for (const auto& [text, root] : cases) {
        EXPECT_EQ(StrToRegistryRoot(text), root) << text;
        if (root && text[0] == L'H' && text[1] == L'K' && text[2] == L'E') {
            EXPECT_EQ(RegistryRootToStr(*root), text);
        }
    }
    EXPECT_EQ(RegistryRootToStr(static_cast<RegistryRoot>(7)), L"");
}

TEST(RegistryPath, KeyToStrJoinsKeyAndValueWithTwoBackslashes) {
    struct Case {
        RegistryRoot root;
        const wchar_t* key;
        const wchar_t* value;
        const wchar_t* expected;
    };
    const Case cases[] = {
        {RegistryRoot::CurrentUser, L"Software\\X", L"ValueName", L"HKEY_CURRENT_USER\\Software\\X\\\\ValueName"},
        {RegistryRoot::CurrentUser, L"\\Software\\X\\", L"", L"HKEY_CURRENT_USER\\Software\\X"},
        {RegistryRoot::LocalMachine, L"", L"V", L"HKEY_LOCAL_MACHINE\\\\V"},
        {RegistryRoot::LocalMachine, L"", L"", L"HKEY_LOCAL_MACHINE"},
        {RegistryRoot::Users, L"S-1-5\\A", L"dir\\file", L"HKEY_USERS\\S-1-5\\A\\\\dir\\file"},
    };
    for (const auto& c : cases) EXPECT_EQ(RegistryKeyToStr(c.root, c.key, c.value), c.expected) << c.expected;
}

TEST(RegistryPath, ExtractKeyParamsSplitsAtTheFirstJoint) {
    struct Case {
        const wchar_t* text;
        std::optional<RegistryRoot> root;
        const wchar_t* key;
        const wchar_t* value;
    };
    const Case cases[] = {
        {L"HKEY_CURRENT_USER\\Software\\X\\\\ValueName", RegistryRoot::CurrentUser, L"Software\\X", L"ValueName"},
        {L"HKCU\\Software\\X", RegistryRoot::CurrentUser, L"Software\\X", L""},
        {L"HKCU\\Software\\X\\", RegistryRoot::CurrentUser, L"Software\\X", L""},
        {L"hklm\\SOFTWARE\\A\\\\dir\\file", RegistryRoot::LocalMachine, L"SOFTWARE\\A", L"dir\\file"},
        {L"HKLM\\A\\\\B\\\\C", RegistryRoot::LocalMachine, L"A", L"B\\\\C"},
        {L"HKCU\\A\\\\\\V", RegistryRoot::CurrentUser, L"A", L"\\V"},
        {L"HKU\\\\V", RegistryRoot::Users, L"", L"V"},
        {L"HKEY_CLASSES_ROOT", RegistryRoot::ClassesRoot, L"", L""},
        {L"Software\\X\\\\V", std::nullopt, L"", L""},
        {L"REGISTRY:\\HKCU\\X", std::nullopt, L"", L""},
        {L"", std::nullopt, L"", L""},
    };
    for (const auto& c : cases) {
        const auto params = ExtractKeyParams(c.text);
        ASSERT_EQ(params.has_value(), c.root.has_value()) << c.text;
        if (!params) continue;
        EXPECT_EQ(params->root, *c.root) << c.text;
        EXPECT_EQ(params->keyPath, c.key) << c.text;
        EXPECT_EQ(params->valueName, c.value) << c.text;
    }
}

TEST(RegistryPath, NormalizeSpellsTheRootOutAndLeavesUnknownTextAlone) {
    EXPECT_EQ(NormalizeRegistryKey(L"hkcu\\Software\\X\\\\V"), L"HKEY_CURRENT_USER\\Software\\X\\\\V");
    EXPECT_EQ(NormalizeRegistryKey(L"HKLM\\SOFTWARE\\"), L"HKEY_LOCAL_MACHINE\\SOFTWARE");
    EXPECT_EQ(NormalizeRegistryKey(L"C:\\Temp\\x"), L"C:\\Temp\\x");
}

}  // namespace
}  // namespace vt
