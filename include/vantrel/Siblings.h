// Interfaces of the sibling libraries the engine consumes: the backup service,
// the secure-wipe helper and the product helper. Slots the engine never calls
// are declared as Reserved<N> so that every table keeps its exact shape; an
// implementation answers them as its own design gives.
#pragma once

#include "vantrel/ComTypes.h"

struct IBackvaultRegistry;
struct IBackvaultFiles;

#define VANTREL_RESERVED_SLOT(n) virtual HRESULT STDMETHODCALLTYPE Reserved##n() = 0

// What a backup session is doing, one byte like every enumeration of the
// contract.
enum TBackvaultSessionState : std::uint8_t {
    bssOpen = 0,         // being recorded now (by this service object or another program)
    bssClosed = 1,       // ended by EndSession (or by the service's release)
    bssInterrupted = 2,  // never ended: its process stopped or was killed mid-session
    bssRestored = 3,     // undone at least once by RestoreSession
};

// What one journal entry of a session recorded.
enum TBackvaultEntryKind : std::uint8_t {
    bekFile = 0,         // a file, its content kept in the session folder
    bekFolder = 1,       // a removed folder (attributes and times)
    bekValue = 2,        // a registry value set or deleted (earlier type and data, or absence)
    bekKey = 3,          // a whole registry key deleted (sub-keys, values, types, data)
    bekCreatedKey = 4,   // a registry key that did not exist and was created
};

// The backup service: every change made through the two interfaces it hands
// out is recorded first, so that it can be rolled back. Operations 3 to 25
// manage sessions: one session is the journal and the backed-up content of one
// clean, kept in its own folder under <data folder>\Backvault\. A change that
// arrives while no session is open opens one. Session identifiers are texts
// that sort in the order the sessions began. Times are OLE dates in local time.
// Every operation fails with E_INVALIDARG and a message for an unknown session
// identifier, and E_POINTER for a null out-pointer.
struct IBackvault : IUnknown {
    // 1-2: the interfaces the engine removes through.
    virtual HRESULT STDMETHODCALLTYPE GetRegistry(IBackvaultRegistry** registry) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFiles(IBackvaultFiles** files) = 0;
    // 3: opens a new session and makes it current; E_ILLEGAL_METHOD_CALL while one is open.
    virtual HRESULT STDMETHODCALLTYPE BeginSession(const wchar_t* description, BSTR* sessionId) = 0;
    // 4: ends the current session (its journal gets its closing record); S_FALSE when none is open.
    virtual HRESULT STDMETHODCALLTYPE EndSession() = 0;
    // 5: the current session's identifier, empty when none is open.
    virtual HRESULT STDMETHODCALLTYPE GetCurrentSession(BSTR* sessionId) = 0;
    // 6: the data folder the sessions live under (ends in a backslash).
    virtual HRESULT STDMETHODCALLTYPE GetDataFolder(BSTR* folder) = 0;
    // 7: uses another data folder (null or empty: the default again); E_ILLEGAL_METHOD_CALL while a session is open.
    virtual HRESULT STDMETHODCALLTYPE SetDataFolder(const wchar_t* folder) = 0;
    // 8: reads the sessions of the data folder afresh and gives their number.
    virtual HRESULT STDMETHODCALLTYPE GetSessionCount(std::int32_t* count) = 0;
    // 9: the identifier of session index (oldest first) as read by GetSessionCount; E_BOUNDS outside.
    virtual HRESULT STDMETHODCALLTYPE GetSessionId(std::int32_t index, BSTR* sessionId) = 0;
    // 10: the description given to BeginSession.
    virtual HRESULT STDMETHODCALLTYPE GetSessionDescription(const wchar_t* sessionId, BSTR* description) = 0;
    // 11: when the session began.
    virtual HRESULT STDMETHODCALLTYPE GetSessionStartTime(const wchar_t* sessionId, double* when) = 0;
    // 12: when it ended; 0 for an open or interrupted session.
    virtual HRESULT STDMETHODCALLTYPE GetSessionEndTime(const wchar_t* sessionId, double* when) = 0;
    // 13: open, closed, interrupted or restored.
    virtual HRESULT STDMETHODCALLTYPE GetSessionState(const wchar_t* sessionId, TBackvaultSessionState* state) = 0;
    // 14: the number of files and folders recorded.
    virtual HRESULT STDMETHODCALLTYPE GetSessionFileCount(const wchar_t* sessionId, std::int32_t* count) = 0;
    // 15: the number of registry values and keys recorded.
    virtual HRESULT STDMETHODCALLTYPE GetSessionRegistryCount(const wchar_t* sessionId, std::int32_t* count) = 0;
    // 16: the bytes of file content the session holds.
    virtual HRESULT STDMETHODCALLTYPE GetSessionBytes(const wchar_t* sessionId, std::int64_t* bytes) = 0;
    // 17: the number of journal entries (files, folders, values, keys) in journal order.
    virtual HRESULT STDMETHODCALLTYPE GetSessionEntryCount(const wchar_t* sessionId, std::int32_t* count) = 0;
    // 18: entry index: its kind and location (a path, or a key path with "\\" and the value name); E_BOUNDS outside.
    virtual HRESULT STDMETHODCALLTYPE GetSessionEntry(const wchar_t* sessionId, std::int32_t index,
                                                      TBackvaultEntryKind* kind, BSTR* location) = 0;
    // 19: undoes the session, newest entry first: files come back bit for bit with times and
    // attributes, keys and values with types and data. A file found at a restored path is kept
    // under a new name beside it unless it is identical. Restoring again does no harm.
    // restored/failed count the entries; S_OK even when some failed (see GetRestoreReport);
    // E_ILLEGAL_METHOD_CALL for the open session.
    virtual HRESULT STDMETHODCALLTYPE RestoreSession(const wchar_t* sessionId, std::int32_t* restored,
                                                     std::int32_t* failed) = 0;
    // 20: what the last RestoreSession of this object did, one line per entry that failed,
    // was already in place or had a reappeared file kept.
    virtual HRESULT STDMETHODCALLTYPE GetRestoreReport(BSTR* text) = 0;
    // 21: deletes the session's folder; E_ILLEGAL_METHOD_CALL for the open session.
    virtual HRESULT STDMETHODCALLTYPE DeleteSession(const wchar_t* sessionId) = 0;
    // 22: the folder holding the session's journal and backed-up content.
    virtual HRESULT STDMETHODCALLTYPE GetSessionFolder(const wchar_t* sessionId, BSTR* folder) = 0;
    // 23: deletes every session that began before when (an OLE date), except the open one.
    virtual HRESULT STDMETHODCALLTYPE DeleteSessionsBefore(double when, std::int32_t* deleted) = 0;
    // 24-25: reserved; they answer E_NOTIMPL.
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
// 31st, WipeFile (overwrite, flush, truncate, rename, then delete; wipedBytes
// says how many bytes were overwritten; a reparse point is refused, never
// opened through).
struct IDiskWipeHelper : IUnknown {
    // 1: how many times WipeFile overwrites the content (1 to 35; 1 by default); E_INVALIDARG outside.
    virtual HRESULT STDMETHODCALLTYPE SetPassCount(std::int32_t passes) = 0;
    // 2: the number of overwriting passes WipeFile makes.
    virtual HRESULT STDMETHODCALLTYPE GetPassCount(std::int32_t* passes) = 0;
    // 3-30 and 32: reserved; they answer E_NOTIMPL.
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
