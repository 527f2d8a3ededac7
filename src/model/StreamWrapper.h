// TStreamWrapper: the primitives every object uses to save itself into scan
// results and load itself back. The byte forms are fixed (all little-endian):
//   Boolean      1 byte, 0 False, 1 True (read back as "not zero")
//   Word         2 bytes unsigned
//   Integer      4 bytes signed
//   string       Integer N = UTF-16 code units, then the 2N bytes; a negative
//                N reads as the empty string
//   string list  Boolean present; if present Integer count, then the strings
//   Integer list Boolean present; if present Integer count, then the Integers
// Reading past the end raises the stream's read error ("Stream read error");
// nothing else is checked.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/Stream.h"
#include "runtime/StringList.h"

namespace vt {

class TStreamWrapper {
public:
    // Wraps AStream, which must outlive the wrapper (not owned).
    explicit TStreamWrapper(Stream& AStream) : FStream(AStream) {}

    Stream& GetStream() const noexcept { return FStream; }

    // Each Write raises the stream's write error on failure.
    void Write(std::int32_t AValue);
    void Write(bool AValue);
    void Write(std::uint16_t AValue);
    void Write(std::wstring_view AValue);
    void Write(const std::wstring& AValue) { Write(std::wstring_view(AValue)); }
    void Write(const wchar_t* AValue) { Write(std::wstring_view(AValue ? AValue : L"")); }
    // A null list is written as the single Boolean False.
    void Write(const StringList* AList);
    void Write(const std::vector<std::int32_t>* AList);
    void Write(const StringList& AList) { Write(&AList); }
    void Write(const std::vector<std::int32_t>& AList) { Write(&AList); }
    void Write(StringList* AList) { Write(static_cast<const StringList*>(AList)); }
    void Write(std::vector<std::int32_t>* AList) { Write(static_cast<const std::vector<std::int32_t>*>(AList)); }
    void Write(const std::unique_ptr<StringList>& AList) { Write(AList.get()); }
    void Write(const std::unique_ptr<std::vector<std::int32_t>>& AList) { Write(AList.get()); }
    // Any other type (size_t, long, char, a pointer) would silently pick one of
    // the forms above; callers must convert to the exact primitive instead.
    template <class T>
    void Write(T) = delete;

    // Each Read raises the read error when the stream ends early; the variable
    // may then hold a partly read value (lists keep what was read).
    void Read(std::int32_t& AValue);
    void Read(bool& AValue);
    void Read(std::uint16_t& AValue);
    void Read(std::wstring& AValue);
    // Flag False: the list is freed (null). Flag True: an existing list is
    // cleared and refilled, a null one receives a new list.
    void Read(std::unique_ptr<StringList>& AList);
    void Read(std::unique_ptr<std::vector<std::int32_t>>& AList);

    // Value-returning forms of Read, same failure.
    std::int32_t ReadInteger();
    bool ReadBoolean();
    std::uint16_t ReadWord();
    std::wstring ReadString();

    // Raw bytes without any prefix (the scan-results signature); ReadBytes
    // raises the read error when fewer than count bytes remain.
    void WriteBytes(const void* ABuffer, std::size_t ACount) { FStream.WriteBuffer(ABuffer, ACount); }
    void ReadBytes(void* ABuffer, std::size_t ACount) { FStream.ReadBuffer(ABuffer, ACount); }

private:
    Stream& FStream;
};

}  // namespace vt
