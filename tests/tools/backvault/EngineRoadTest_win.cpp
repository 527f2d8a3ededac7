// The engine's removal road (TBVWrapper) through the real backup service and
// wipe helper: what the engine removes, the service undoes.
#include <gtest/gtest.h>

#include "runtime/ComBoundary.h"
#include "runtime/Utf.h"
#include "services/BVWrapper.h"
#include "services/TempFolder.h"
#include "tools/CompanionSupport_win.h"

namespace vt::test {
namespace {

TEST(EngineRoad, WhatTheEngineRemovesThroughTheServiceComesBack) {
    const Com<IBackvault> service = LoadCompanion<IBackvault>(L"VantrelBackvault.dll");
    const Com<IDiskWipeHelper> wiper = LoadCompanion<IDiskWipeHelper>(L"VantrelWipe.dll");
    ASSERT_TRUE(service && wiper);
    TempFolder data, work;
    ASSERT_TRUE(::CreateDirectoryW(work.Root().c_str(), nullptr));
    ASSERT_EQ(service->SetDataFolder(data.Root().c_str()), S_OK);

    ScratchKey scratch;
    const std::wstring explorer = scratch.SubKey() + L"\\Explorer";
    SetRegistryValue(HKEY_CURRENT_USER, explorer + L"\\RecentDocs", L"MRUListEx", REG_BINARY, {0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF});
    SetRegistryValue(HKEY_CURRENT_USER, explorer + L"\\RecentDocs\\.txt", L"0", REG_BINARY, Utf16Z(L"notes.txt"));
    SetRegistryValue(HKEY_CURRENT_USER, explorer + L"\\RecentDocs\\.txt", L"MRUListEx", REG_BINARY, {0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF});
    SetRegistryValue(HKEY_CURRENT_USER, explorer + L"\\TypedPaths", L"url1", REG_SZ, Utf16Z(L"C:\\Windows"));
    SetRegistryValue(HKEY_CURRENT_USER, explorer + L"\\RunMRU", L"MRUList", REG_SZ, Utf16Z(L"ab"));
    SetRegistryValue(HKEY_CURRENT_USER, explorer + L"\\RunMRU", L"a", REG_SZ, Utf16Z(L"cmd\\1"));
    const RegistryDump before = DumpKey(HKEY_CURRENT_USER, scratch.SubKey());

    const std::wstring plain = work.Path(L"Recent.lnk"), wiped = work.Path(L"\u0436\u0443\u0440\u043D\u0430\u043B.log");
    WriteBytes(plain, Content(900, 1));
    WriteBytes(wiped, Content(70000, 2));

    {
        TBVWrapper wrapper;
        wrapper.SetBackvault(service.Get());
        EXPECT_TRUE(wrapper.DeleteFile(plain, false));
        wrapper.SetWipeDLL(wiper.Get());
        EXPECT_TRUE(wrapper.DeleteFile(wiped, false));  // backed up, then wiped
        EXPECT_EQ(wrapper.LastWipeSize(), 70000u);

        BVKey parent = wrapper.RegKeyOpenWrite(HKEY_CURRENT_USER, explorer);
        ASSERT_TRUE(parent);
        EXPECT_TRUE(wrapper.RegKeyDeleteKey(parent.Get(), L"RecentDocs"));
        EXPECT_TRUE(wrapper.RegKeyStoreBinary(HKEY_CURRENT_USER, explorer + L"\\TypedPaths", L"url1"));
        BVKey run = wrapper.RegKeyOpenWrite(parent.Get(), L"RunMRU");
        EXPECT_TRUE(wrapper.RegKeyDeleteValue(run.Get(), L"a"));
        EXPECT_TRUE(wrapper.RegKeySetDword(run.Get(), L"MRUList", 0));
        EXPECT_TRUE(run.Reset());
        EXPECT_TRUE(parent.Reset());
    }
    EXPECT_FALSE(PathExists(plain) || PathExists(wiped));
    EXPECT_NE(DumpKey(HKEY_CURRENT_USER, scratch.SubKey()), before);

    BSTR id = nullptr;
    ASSERT_EQ(service->GetCurrentSession(&id), S_OK);  // opened by the first change
    const std::wstring session = FromBstrOwned(id);
    ASSERT_FALSE(session.empty());
    ASSERT_EQ(service->EndSession(), S_OK);
    std::int32_t restored = 0, failed = -1;
    ASSERT_EQ(service->RestoreSession(session.c_str(), &restored, &failed), S_OK);
    BSTR report = nullptr;
    service->GetRestoreReport(&report);
    EXPECT_EQ(failed, 0) << ToUtf8(FromBstrOwned(report));
    EXPECT_EQ(ReadBytes(plain), Content(900, 1));
    EXPECT_EQ(ReadBytes(wiped), Content(70000, 2));
    EXPECT_EQ(DumpKey(HKEY_CURRENT_USER, scratch.SubKey()), before);
}

}  // namespace
}  // namespace vt::test
