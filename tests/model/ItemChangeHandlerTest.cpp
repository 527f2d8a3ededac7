// The item-change handler a category hands out through IEnabledChange is a
// plain function hosts call from their own code: nothing may escape it.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/CleanerOptions.h"
#include "model/VantrelShare.h"
#include "model/VTCategory.h"
#include "runtime/DebugLog.h"
#include "runtime/Exception.h"
#include "services/BVWrapper.h"

namespace vt::testing {
namespace {

// An engine context whose removal wrapper (and with it the task list) becomes
// unreachable on demand.
class FailingContext final : public TVantrelShare {
public:
    TBVWrapper& GetBVWrapper() override {
        if (fail) ThrowGeneral(L"wrapper gone");
        return wrapper;
    }
    void SetProgress(double) override {}
    void SetCurrentCategory(ICategory*) override {}
    void SetCurrentItem(IDetectedItem*, std::int32_t, std::int32_t) override {}
    void OnItemRemoved(IDetectedItem*) override {}
    void OnItemFailed(IDetectedItem*) override {}
    bool IsAborted() override { return false; }
    TCleanerOptions& Options() override { return *options; }

    bool fail = false;
    TBVWrapper wrapper;
    Com<TCleanerOptions> options = MakeCom<TCleanerOptions>();
};

// A category that needs "browser.exe" closed, so every change of its mark
// reaches the task list. Not the shared FakeCategory: that one hands out a
// recording handler of its own in place of the base's.
class TaskCategory final : public TVTCategory {
public:
    explicit TaskCategory(TVantrelShare& v) : TVTCategory(v, {.Id = 7, .ClassName = L"TTaskCategory"}) {
        SetTaskName(L"browser.exe");
    }
    bool RemoveItem(TDetectedItem&) override { return true; }
    void Search() override {}
    Com<TDetectedItem> AddChecked(const std::wstring& location) {
        Com<TDetectedItem> item = MakeCom<TDetectedItem>();
        item->SetLocation(location);
        FDetectedItems->AddItem(item, true);
        return item;
    }
};

TEST(ItemChangeHandler, AFailureInsideIsLoggedAndNeverReachesTheCaller) {
    const char* routes[] = {"the host calls the handler", "an item's check mark changes"};
    std::vector<std::wstring> lines;
    const TLogLevel saved = TDebugLog::Level();
    TDebugLog::SetSink([&](const std::wstring& line) { lines.push_back(line); });
    TDebugLog::SetLevel(llError);
    for (const char* route : routes) {
        SCOPED_TRACE(route);
        lines.clear();
        FailingContext v;
        Com<TaskCategory> category = TVTCategory::Create<TaskCategory>(v);
        Com<TDetectedItem> item = category->AddChecked(L"C:\\Users\\Ann\\AppData\\Local\\Temp\\a.tmp");
        Com<IEnabledChange> change = Com<ICategory>(category.Get()).Query<IEnabledChange>();
        ASSERT_TRUE(change);
        TDetectedItemChange handler{};
        ASSERT_EQ(change->GetOnDetectedItemChange(&handler), S_OK);
        ASSERT_NE(handler.Code, nullptr);

        v.fail = true;
        if (route == routes[0]) {
            item->SetCheckedSilently(false);  // the mark changes without a notification...
            handler.Code(handler.Data, item.Get());  // ...and tells the category
        } else {
            EXPECT_EQ(item->SetEnabled(false), S_OK);
        }
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_NE(lines[0].find(L"Item check mark change failed: wrapper gone"), std::wstring::npos) << lines[0];
        v.fail = false;
    }
    TDebugLog::SetSink({});
    TDebugLog::SetLevel(saved);
}

}  // namespace
}  // namespace vt::testing
