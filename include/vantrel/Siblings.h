// Interfaces of the sibling libraries the engine consumes: the backup service,
// the secure-wipe helper and the product helper. Slots the engine never calls
// are declared as Reserved<N> so that every table keeps its exact shape; an
// implementation answers them as its own design gives.
#pragma once

#include "vantrel/ComTypes.h"

struct IBackvaultRegistry;
struct IBackvaultFiles;

#define VANTREL_RESERVED_SLOT(n) virtual HRESULT STDMETHODCALLTYPE Reserved##n() = 0

// The backup service: every change made through the two interfaces it hands
// out is recorded first, so that it can be rolled back.
struct IBackvault : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetRegistry(IBackvaultRegistry** registry) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFiles(IBackvaultFiles** files) = 0;
    VANTREL_RESERVED_SLOT(3);
    VANTREL_RESERVED_SLOT(4);
    VANTREL_RESERVED_SLOT(5);
    VANTREL_RESERVED_SLOT(6);
    VANTREL_RESERVED_SLOT(7);
    VANTREL_RESERVED_SLOT(8);
    VANTREL_RESERVED_SLOT(9);
    VANTREL_RESERVED_SLOT(10);
    VANTREL_RESERVED_SLOT(11);
    VANTREL_RESERVED_SLOT(12);
    VANTREL_RESERVED_SLOT(13);
    VANTREL_RESERVED_SLOT(14);
    VANTREL_RESERVED_SLOT(15);
    VANTREL_RESERVED_SLOT(16);
    VANTREL_RESERVED_SLOT(17);
    VANTREL_RESERVED_SLOT(18);
    VANTREL_RESERVED_SLOT(19);
    VANTREL_RESERVED_SLOT(20);
    VANTREL_RESERVED_SLOT(21);
    VANTREL_RESERVED_SLOT(22);
    VANTREL_RESERVED_SLOT(23);
    VANTREL_RESERVED_SLOT(24);
    VANTREL_RESERVED_SLOT(25);
};

// Each operation mirrors the registry function of the same role, with the same
// arguments in the same order; the HRESULT carries that function's status
// (ERROR_SUCCESS as S_OK).
struct IBackvaultRegistry : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE CreateKey(HKEY root, const wchar_t* subKey, DWORD reserved,
                                                wchar_t* keyClass, DWORD options, REGSAM access,
                                                SECURITY_ATTRIBUTES* security, HKEY* key,
                                                DWORD* disposition) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenKey(HKEY root, const wchar_t* subKey, DWORD options,
                                              REGSAM access, HKEY* key) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteKey(HKEY root, const wchar_t* subKey) = 0;
    VANTREL_RESERVED_SLOT(4);
    virtual HRESULT STDMETHODCALLTYPE SetValue(HKEY key, const wchar_t* name, DWORD reserved,
                                               DWORD type, const BYTE* data, DWORD size) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteValue(HKEY key, const wchar_t* name) = 0;
    VANTREL_RESERVED_SLOT(7);
    VANTREL_RESERVED_SLOT(8);
    VANTREL_RESERVED_SLOT(9);
    VANTREL_RESERVED_SLOT(10);
    VANTREL_RESERVED_SLOT(11);
    virtual HRESULT STDMETHODCALLTYPE CloseKey(HKEY key) = 0;
};

struct IBackvaultFiles : IUnknown {
    VANTREL_RESERVED_SLOT(1);
    // Backs the file up, then deletes it. (<windows.h> turns the name into
    // DeleteFileA or DeleteFileW; it does so in every unit, so the slot is the same.)
    virtual HRESULT STDMETHODCALLTYPE DeleteFile(const wchar_t* fileName) = 0;
    VANTREL_RESERVED_SLOT(3);
    VANTREL_RESERVED_SLOT(4);
    VANTREL_RESERVED_SLOT(5);
    VANTREL_RESERVED_SLOT(6);
    VANTREL_RESERVED_SLOT(7);
    // Records the folder, then removes it.
    virtual HRESULT STDMETHODCALLTYPE RemoveDir(const wchar_t* path) = 0;
    // Backs the file up without deleting it.
    virtual HRESULT STDMETHODCALLTYPE BackupFile(const wchar_t* fileName) = 0;
};

// The secure-wipe helper: 32 operations, of which the engine calls only the
// 31st, WipeFile (overwrite, then delete; wipedBytes says how many bytes were
// overwritten).
struct IDiskWipeHelper : IUnknown {
    VANTREL_RESERVED_SLOT(1);
    VANTREL_RESERVED_SLOT(2);
    VANTREL_RESERVED_SLOT(3);
    VANTREL_RESERVED_SLOT(4);
    VANTREL_RESERVED_SLOT(5);
    VANTREL_RESERVED_SLOT(6);
    VANTREL_RESERVED_SLOT(7);
    VANTREL_RESERVED_SLOT(8);
    VANTREL_RESERVED_SLOT(9);
    VANTREL_RESERVED_SLOT(10);
    VANTREL_RESERVED_SLOT(11);
    VANTREL_RESERVED_SLOT(12);
    VANTREL_RESERVED_SLOT(13);
    VANTREL_RESERVED_SLOT(14);
    VANTREL_RESERVED_SLOT(15);
    VANTREL_RESERVED_SLOT(16);
    VANTREL_RESERVED_SLOT(17);
    VANTREL_RESERVED_SLOT(18);
    VANTREL_RESERVED_SLOT(19);
    VANTREL_RESERVED_SLOT(20);
    VANTREL_RESERVED_SLOT(21);
    VANTREL_RESERVED_SLOT(22);
    VANTREL_RESERVED_SLOT(23);
    VANTREL_RESERVED_SLOT(24);
    VANTREL_RESERVED_SLOT(25);
    VANTREL_RESERVED_SLOT(26);
    VANTREL_RESERVED_SLOT(27);
    VANTREL_RESERVED_SLOT(28);
    VANTREL_RESERVED_SLOT(29);
    VANTREL_RESERVED_SLOT(30);
    virtual HRESULT STDMETHODCALLTYPE WipeFile(const wchar_t* fileName, std::uint64_t* wipedBytes,
                                               bool* wiped) = 0;
    VANTREL_RESERVED_SLOT(32);
};

// The product helper, from "ProductHelper.dll" beside the engine: it names the
// product's data folder.
struct IProductHelper : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetDataFolder(BSTR* folder) = 0;
};

#undef VANTREL_RESERVED_SLOT

VANTREL_INTERFACE_ID(IBackvault, 0x5C2990D5, 0x37CD, 0x4FE8, 0x8E, 0xC4, 0xA2, 0x37, 0x23, 0xA7, 0xD4, 0xF1)
VANTREL_INTERFACE_ID(IBackvaultRegistry, 0x85C2AA9B, 0xC0BD, 0x4923, 0x84, 0xE4, 0x6C, 0x6B, 0x61, 0x79, 0x71, 0x2A)
VANTREL_INTERFACE_ID(IBackvaultFiles, 0xA781DD14, 0x7EE7, 0x4081, 0x85, 0x7A, 0x74, 0x70, 0x80, 0xE4, 0xF2, 0x8A)
VANTREL_INTERFACE_ID(IDiskWipeHelper, 0x3FE0B8D8, 0xC078, 0x439F, 0xAF, 0xB3, 0x75, 0x06, 0xD2, 0x93, 0xBD, 0xDA)
VANTREL_INTERFACE_ID(IProductHelper, 0x4E9950B8, 0x46CD, 0x45C4, 0xB6, 0x9A, 0xEA, 0xA3, 0xB8, 0xA4, 0x12, 0x01)
