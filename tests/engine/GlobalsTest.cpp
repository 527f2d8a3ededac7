#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "engine/Globals.h"
#include "runtime/ComBoundary.h"
#include "runtime/DllRoutines.h"
#include "runtime/Strings.h"

namespace vt {
namespace {

class FakeProductHelper final : public ComObject<IProductHelper> {
public:
    explicit FakeProductHelper(std::wstring folder) : folder_(std::move(folder)) {}
    HRESULT STDMETHODCALLTYPE GetDataFolder(BSTR* folder) override {
        return Guarded([&] { AssignBstr(folder, folder_); });
    }

private:
    std::wstring folder_;
};

class GlobalsTest : public ::testing::Test {
protected:
    void TearDown() override {
        DllRoutines::SetResolverForTesting({});
        ReleaseGlobals();
    }
};

TEST_F(GlobalsTest, ProductHelperIsLoadedOnceEvenWhenFirstUsesRace) {
    ReleaseGlobals();
    std::atomic<int> loads{0};
    DllRoutines::SetResolverForTesting([&](const std::wstring& name, REFIID riid, void** obj) -> HRESULT {
        EXPECT_EQ(name, L"ProductHelper.dll");
        ++loads;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));  // widen the race window
        auto helper = MakeCom<FakeProductHelper>(L"/data/product");
        return helper->QueryInterface(riid, obj);
    });
    std::vector<std::thread> threads;
    std::atomic<int> served{0};
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            if (ProductHelper()) ++served;
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(loads.load(), 1);
    EXPECT_EQ(served.load(), 8);
    EXPECT_EQ(DataFolder(), L"/data/product\\");
}

TEST_F(GlobalsTest, WithoutProductHelperTheDataFolderIsOurOwnPerUserFolder) {
    ReleaseGlobals();
    DllRoutines::SetResolverForTesting([](const std::wstring&, REFIID, void**) -> HRESULT { return E_NOTIMPL; });
    EXPECT_FALSE(ProductHelper());
    const std::wstring folder = DataFolder();
    EXPECT_EQ(folder, IncludeTrailingPathDelimiter(DefaultDataFolder()));
    EXPECT_FALSE(folder.empty());
}

}  // namespace
}  // namespace vt
