#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "runtime/DebugLog.h"
#include "runtime/FileSystem.h"
#include "runtime/Utf.h"

namespace vt {
namespace {

class DebugLogTest : public ::testing::Test {
protected:
    void SetUp() override {
        saved_ = TDebugLog::Level();
        TDebugLog::SetSink([this](const std::wstring& line) { lines_.push_back(line); });
    }
    void TearDown() override {
        TDebugLog::SetSink({});
        TDebugLog::SetLevel(saved_);
        TDebugLog::SetLogFolder({});
        TDebugLog::SetSizeCap(TDebugLog::kDefaultSizeCap);
    }
    // The part of a line after "yyyy-mm-dd hh:mm:ss.mmm LEVEL ".
    std::wstring Body(std::size_t i) const { return lines_.at(i).substr(30); }

    TLogLevel saved_ = llNone;
    std::vector<std::wstring> lines_;
};

TEST_F(DebugLogTest, LevelsFilterAndNothingIsFormattedWhenOff) {
    TDebugLog::SetLevel(llWarning);
    TDebugLog::Log(llInfo, L"TDetectedItems", L"Grouped item added. %s", {L"x"});
    TDebugLog::Log(llWarning, L"TDetectedItems", L"Detected item added. %s", {L"y"});
    TDebugLog::Log(llError, L"TVantrel", L"broken");
    ASSERT_EQ(lines_.size(), 2u);
    EXPECT_NE(lines_[0].find(L"WARN  TDetectedItems: Detected item added. y"), std::wstring::npos);
    EXPECT_NE(lines_[1].find(L"ERROR TVantrel: broken"), std::wstring::npos);

    TDebugLog::SetLevel(llNone);
    // A format that would raise is never looked at when the log is off.
    TDebugLog::Log(llError, L"T", L"%d", {L"not a number"});
    EXPECT_EQ(lines_.size(), 2u);
}

TEST_F(DebugLogTest, ProceduresNestWhatIsLoggedInside) {
    TDebugLog::SetLevel(llInfo);
    {
        LogScope outer(L"TKeyMappingChecker", L"DumpKeysTree");
        TDebugLog::Log(llInfo, L"TKeyMappingChecker", L"%s (%s)", {L"HKEY_LOCAL_MACHINE", L"Shared"});
        LogScope inner(L"TKeyMappingChecker", L"Child");
        TDebugLog::Log(llInfo, L"TKeyMappingChecker", L"%0:s", {L"SOFTWARE"});
    }
    ASSERT_EQ(lines_.size(), 6u);
    EXPECT_EQ(Body(0), L"TKeyMappingChecker: Begin DumpKeysTree");
    EXPECT_EQ(Body(1), L"  TKeyMappingChecker: HKEY_LOCAL_MACHINE (Shared)");
    EXPECT_EQ(Body(3), L"    TKeyMappingChecker: SOFTWARE");
    EXPECT_EQ(Body(5), L"TKeyMappingChecker: End DumpKeysTree");
}

TEST_F(DebugLogTest, FilePassingTheCapIsRotated) {
    TDebugLog::SetSink({});
    TDebugLog::SetLevel(llInfo);
    const std::wstring folder = FromUtf8(::testing::TempDir()) + L"vtlog-rotate";
    RemoveFile(folder + L"\\VantrelHelper.log");
    RemoveFile(folder + L"\\VantrelHelper.old.log");
    TDebugLog::SetLogFolder(folder);
    TDebugLog::SetSizeCap(1000);
    for (int i = 0; i < 40; ++i) TDebugLog::Log(llInfo, L"T", L"line %d of the rotation test", {i});
    TDebugLog::Shutdown();
    const std::int64_t current = FileSizeOf(folder + L"\\VantrelHelper.log");
    const std::int64_t old = FileSizeOf(folder + L"\\VantrelHelper.old.log");
    EXPECT_GT(old, 900);
    EXPECT_GT(current, 0);
    EXPECT_LT(current, 1100);
}

}  // namespace
}  // namespace vt
