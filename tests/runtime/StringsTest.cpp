#include <gtest/gtest.h>

#include <climits>
#include <functional>

#include "runtime/Exception.h"
#include "runtime/Strings.h"

namespace vt {
namespace {

TEST(Strings, FormatProducesDelphiText) {
    struct Case {
        std::wstring text;
        std::wstring expected;
    };
    const Case cases[] = {
        {Format(L"%d items", {42}), L"42 items"},
        {Format(L"[%5d][%-5d]", {42, 42}), L"[   42][42   ]"},
        {Format(L"%.3d %.3d", {7, -7}), L"007 -007"},
        {Format(L"%x %.8x %X", {255, 255, -1}), L"FF 000000FF FFFFFFFF"},
        {Format(L"%u %u", {3000000000u, -1}), L"3000000000 4294967295"},
        {Format(L"%s|%.2s|%6s", {L"abc", L"abc", L"abc"}), L"abc|ab|   abc"},
        {Format(L"%1:s %0:s %s", {L"a", L"b"}), L"b a b"},
        {Format(L"100%%", {}), L"100%"},
        {Format(L"%f %.1f %.0f", {3.14159, 2.25, 2.5}), L"3.14 2.2 2"},
        {Format(L"%n|%n", {1234567.891, -1234.5}), L"1,234,567.89|-1,234.50"},
        {Format(L"%g", {1234.5}), L"1234.5"},
        {Format(L"%e|%.3e|%.3e", {1234.5, 1234.5, -0.00015}), L"1.23450000000000E+003|1.23E+003|-1.50E-004"},
        {Format(L"%D %S", {5, L"x"}), L"5 x"},
    };
    for (const auto& c : cases) EXPECT_EQ(c.text, c.expected);
}

TEST(Strings, FormatRejectsMismatchedArguments) {
    const std::pair<std::wstring, std::function<void()>> cases[] = {
        {L"%d", [] { Format(L"%d", {L"text"}); }},
        {L"%s", [] { Format(L"%s", {1}); }},
        {L"%f", [] { Format(L"%f", {1}); }},
        {L"%d %d", [] { Format(L"%d %d", {1}); }},
        {L"%2:d", [] { Format(L"%2:d", {1, 2}); }},
        {L"50%", [] { Format(L"50%", {}); }},
        {L"%z", [] { Format(L"%z", {1}); }},
    };
    for (const auto& [format, body] : cases) {
        try {
            body();
            ADD_FAILURE() << "no error for " << format;
        } catch (const Exception& e) {
            EXPECT_EQ(e.Message(), L"Format '" + format + L"' invalid or incompatible with argument");
        }
    }
}

TEST(Strings, CaseFoldingPairs) {
    // upper, lower: each maps to the other.
    const std::pair<wchar_t, wchar_t> pairs[] = {
        {L'Z', L'z'},   {0xDE, 0xFE},   {0x178, 0xFF},  {0x136, 0x137}, {0x141, 0x142},
        {0x17D, 0x17E}, {0x3A9, 0x3C9}, {0x42F, 0x44F}, {0x401, 0x451},
    };
    for (const auto& [upper, lower] : pairs) {
        EXPECT_EQ(UpCaseChar(lower), upper) << std::hex << static_cast<unsigned>(lower);
        EXPECT_EQ(LowCaseChar(upper), lower) << std::hex << static_cast<unsigned>(upper);
        EXPECT_EQ(UpCaseChar(upper), upper);
        EXPECT_EQ(LowCaseChar(lower), lower);
    }
    // Characters without a partner in the table, and one-way mappings.
    const std::pair<wchar_t, wchar_t> upOnly[] = {
        {0xF7, 0xF7}, {0xDF, 0xDF}, {L'1', L'1'}, {0x3C2, 0x3A3}, {0x131, L'I'}, {0x130, 0x130}, {0x138, 0x138},
    };
    for (const auto& [in, out] : upOnly) EXPECT_EQ(UpCaseChar(in), out) << std::hex << static_cast<unsigned>(in);
    EXPECT_EQ(LowCaseChar(0xD7), 0xD7);
    EXPECT_EQ(LowCaseChar(0x130), L'i');
    EXPECT_EQ(UpperCase(L"straße ÿ"), L"STRAßE Ÿ");
    EXPECT_EQ(LowerCase(L"ÀÉ Ж"), L"àé ж");
}

TEST(Strings, ComparisonsAndSearch) {
    EXPECT_LT(CompareStr(L"B", L"a"), 0);
    EXPECT_GT(CompareText(L"B", L"a"), 0);
    EXPECT_EQ(CompareText(L"\x0416x", L"\x0436X"), 0);
    EXPECT_LT(CompareText(L"ab", L"ABC"), 0);
    EXPECT_TRUE(SameText(L"Windows", L"WINDOWS"));
    EXPECT_FALSE(SameText(L"Windows", L"Window"));
    EXPECT_TRUE(StartsText(L"hkey_", L"HKEY_CURRENT_USER"));
    EXPECT_FALSE(StartsStr(L"hkey_", L"HKEY_CURRENT_USER"));
    EXPECT_TRUE(EndsText(L".LOG", L"x.log"));
    EXPECT_EQ(FindText(L"abcABC", L"bc", 2), 4u);
    EXPECT_EQ(FindText(L"abc", L"x"), std::wstring_view::npos);
    EXPECT_EQ(ReplaceFirst(L"a = b = c", L" = ", L"="), L"a=b = c");
    EXPECT_EQ(ReplaceAll(L"xAxa", L"a", L"-", true), L"x-x-");
    EXPECT_EQ(Trim(L"\t a b \r\n"), L"a b");
}

TEST(Strings, PathHelpers) {
    struct Case {
        const wchar_t* path;
        const wchar_t* name;
        const wchar_t* filePath;
        const wchar_t* dir;
        const wchar_t* ext;
    };
    const Case cases[] = {
        {L"C:\\dir\\file.txt", L"file.txt", L"C:\\dir\\", L"C:\\dir", L".txt"},
        {L"C:\\file", L"file", L"C:\\", L"C:\\", L""},
        {L"C:file.tar.gz", L"file.tar.gz", L"C:", L"C:", L".gz"},
        {L"\\\\server\\share", L"share", L"\\\\server\\", L"\\\\server", L""},
        {L"dir.x\\name", L"name", L"dir.x\\", L"dir.x", L""},
        {L"a\\\\b", L"b", L"a\\\\", L"a\\\\", L""},
        {L"plain", L"plain", L"", L"", L""},
        {L"C:\\dir\\", L"", L"C:\\dir\\", L"C:\\dir", L""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ExtractFileName(c.path), c.name) << c.path;
        EXPECT_EQ(ExtractFilePath(c.path), c.filePath) << c.path;
        EXPECT_EQ(ExtractFileDir(c.path), c.dir) << c.path;
        EXPECT_EQ(ExtractFileExt(c.path), c.ext) << c.path;
    }
    EXPECT_EQ(IncludeTrailingPathDelimiter(L"C:"), L"C:\\");
    EXPECT_EQ(IncludeTrailingPathDelimiter(L"C:\\"), L"C:\\");
    EXPECT_EQ(IncludeTrailingPathDelimiter(L""), L"\\");
    EXPECT_EQ(ExcludeTrailingPathDelimiter(L"C:\\"), L"C:");
    EXPECT_EQ(ExcludeTrailingPathDelimiter(L"x"), L"x");
    EXPECT_TRUE(IsDrivePath(L"C:\\"));
    EXPECT_FALSE(IsDrivePath(L"C:x"));
    EXPECT_FALSE(IsDrivePath(L"\\\\?\\C:\\"));
}

TEST(Strings, StrToIntDefAcceptsOnlyWholeNumbers) {
    const std::pair<const wchar_t*, int> cases[] = {
        {L"42", 42},           {L"  42", 42},         {L"-17", -17},        {L"+5", 5},
        {L"$ff", 255},         {L"$FFFFFFFF", -1},    {L"0x10", 16},        {L"0XFFFFFFFF", -1},
        {L"$80000000", INT_MIN}, {L"2147483647", INT_MAX}, {L"-2147483648", INT_MIN},
        {L"2147483648", -99},  {L"4294967295", -99},  {L"$100000000", -99}, {L"42 ", -99},
        {L"", -99},            {L"-", -99},           {L"$", -99},          {L"1e3", -99},
        {L"12a", -99},         {L"--1", -99},
    };
    for (const auto& [text, value] : cases) EXPECT_EQ(StrToIntDef(text, -99), value) << text;
    EXPECT_EQ(StrToInt64Def(L"9223372036854775807", 0), INT64_MAX);
    EXPECT_EQ(StrToInt64Def(L"-9223372036854775808", 0), INT64_MIN);
    EXPECT_EQ(StrToInt64Def(L"9223372036854775808", 0), 0);
    EXPECT_EQ(StrToInt64Def(L"$FFFFFFFFFFFFFFFF", 0), -1);
    EXPECT_EQ(StrToInt64Def(L"$10000000000000000", 0), 0);
    EXPECT_EQ(IntToStr(-5), L"-5");
}

}  // namespace
}  // namespace vt
