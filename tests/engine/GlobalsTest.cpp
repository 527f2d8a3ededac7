#include <gtest/gtest.h>

#include <atomic>
#include <functional>
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

// Without a helper, or with one that names no folder, the data folder is our
// own per-user folder.
TEST_F(GlobalsTest, WithoutAFolderFromTheHelperTheDataFolderIsOurOwnPerUserFolder) {
    const std::function<HRESULT(REFIID, void**)> resolvers[] = {
        [](REFIID, void**) -> HRESULT { return E_NOTIMPL; },
        [](REFIID riid, void** obj) { return MakeCom<FakeProductHelper>(L"")->QueryInterface(riid, obj); },
    };
    for (const auto& resolve : resolvers) {
        ReleaseGlobals();
        DllRoutines::SetResolverForTesting(
            [&](const std::wstring&, REFIID riid, void** obj) { return resolve(riid, obj); });
        const std::wstring folder = DataFolder();
        EXPECT_EQ(folder, IncludeTrailingPathDelimiter(DefaultDataFolder()));
        EXPECT_FALSE(folder.empty());
    }
}

// A missing helper is not remembered: the library may appear later, and the
// next use loads it.
TEST_F(GlobalsTest, AFailedLoadIsTriedAgainOnTheNextUse) {
    ReleaseGlobals();
    int loads = 0;
    DllRoutines::SetResolverForTesting([&](const std::wstring&, REFIID riid, void** obj) -> HRESULT {
        if (++loads == 1) return HRESULT(0x8007007E);  // the module was not found
        return MakeCom<FakeProductHelper>(L"/later")->QueryInterface(riid, obj);
    });
    EXPECT_FALSE(ProductHelper());
    EXPECT_TRUE(ProductHelper());
    EXPECT_EQ(DataFolder(), L"/later\\");
    EXPECT_EQ(loads, 2);
}

}  // namespace
}  // namespace vt
