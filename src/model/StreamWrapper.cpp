#include "model/StreamWrapper.h"

#include <algorithm>

#include "runtime/Exception.h"
#include "runtime/Utf.h"

namespace vt {

namespace {

// A string's count comes from outside bytes: its units are read in slices of
// this many, so a forged count cannot allocate more than the stream holds.
constexpr std::size_t kStringSlice = 32 * 1024;

}  // namespace

void TStreamWrapper::Write(std::int32_t AValue) {
    const auto v = static_cast<std::uint32_t>(AValue);
    const std::uint8_t bytes[4] = {static_cast<std::uint8_t>(v), static_cast<std::uint8_t>(v >> 8),
                                   static_cast<std::uint8_t>(v >> 16), static_cast<std::uint8_t>(v >> 24)};
    FStream.WriteBuffer(bytes, sizeof bytes);
}

void TStreamWrapper::Write(bool AValue) {
    const std::uint8_t byte = AValue ? 1 : 0;
    FStream.WriteBuffer(&byte, 1);
}

void TStreamWrapper::Write(std::uint16_t AValue) {
    const std::uint8_t bytes[2] = {static_cast<std::uint8_t>(AValue), static_cast<std::uint8_t>(AValue >> 8)};
    FStream.WriteBuffer(bytes, sizeof bytes);
}

void TStreamWrapper::Write(std::wstring_view AValue) {
    const std::u16string units = ToUtf16(AValue);
    if (units.size() > static_cast<std::size_t>(INT32_MAX)) ThrowStreamWrite();
    Write(static_cast<std::int32_t>(units.size()));
    if (units.empty()) return;
    std::vector<std::uint8_t> bytes(units.size() * 2);
    for (std::size_t i = 0; i < units.size(); ++i) {
        bytes[2 * i] = static_cast<std::uint8_t>(units[i]);
        bytes[2 * i + 1] = static_cast<std::uint8_t>(units[i] >> 8);
    }
    FStream.WriteBuffer(bytes.data(), bytes.size());
}

void TStreamWrapper::Write(const StringList* AList) {
    Write(AList != nullptr);
    if (!AList) return;
    Write(static_cast<std::int32_t>(AList->Count()));
    for (const auto& entry : AList->Entries()) Write(std::wstring_view(entry.text));
}

void TStreamWrapper::Write(const std::vector<std::int32_t>* AList) {
    Write(AList != nullptr);
    if (!AList) return;
    if (AList->size() > static_cast<std::size_t>(INT32_MAX)) ThrowStreamWrite();
    Write(static_cast<std::int32_t>(AList->size()));
    for (std::int32_t v : *AList) Write(v);
}

void TStreamWrapper::Read(std::int32_t& AValue) {
    std::uint8_t b[4];
    FStream.ReadBuffer(b, sizeof b);
    AValue = static_cast<std::int32_t>(static_cast<std::uint32_t>(b[0]) | static_cast<std::uint32_t>(b[1]) << 8 |
                                       static_cast<std::uint32_t>(b[2]) << 16 |
                                       static_cast<std::uint32_t>(b[3]) << 24);
}

void TStreamWrapper::Read(bool& AValue) {
    std::uint8_t b;
    FStream.ReadBuffer(&b, 1);
    AValue = b != 0;
}

void TStreamWrapper::Read(std::uint16_t& AValue) {
    std::uint8_t b[2];
    FStream.ReadBuffer(b, sizeof b);
    AValue = static_cast<std::uint16_t>(b[0] | b[1] << 8);
}

void TStreamWrapper::Read(std::wstring& AValue) {
    std::int32_t count = 0;
    Read(count);
    AValue.clear();
    if (count <= 0) return;
    std::u16string units;
    std::vector<std::uint8_t> bytes;
    auto left = static_cast<std::size_t>(count);
    while (left > 0) {
        const std::size_t slice = std::min(left, kStringSlice);
        bytes.resize(slice * 2);
        FStream.ReadBuffer(bytes.data(), bytes.size());
        for (std::size_t i = 0; i < slice; ++i)
            units.push_back(static_cast<char16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8));
        left -= slice;
    }
    AValue = FromUtf16(units);
}

void TStreamWrapper::Read(std::unique_ptr<StringList>& AList) {
    if (!ReadBoolean()) {
        AList.reset();
        return;
    }
    if (AList)
        AList->Clear();
    else
        AList = std::make_unique<StringList>();
    const std::int32_t count = ReadInteger();
    for (std::int32_t i = 0; i < count; ++i) AList->Add(ReadString());
}

void TStreamWrapper::Read(std::unique_ptr<std::vector<std::int32_t>>& AList) {
    if (!ReadBoolean()) {
        AList.reset();
        return;
    }
    if (AList)
        AList->clear();
    else
        AList = std::make_unique<std::vector<std::int32_t>>();
    const std::int32_t count = ReadInteger();
    for (std::int32_t i = 0; i < count; ++i) AList->push_back(ReadInteger());
}

std::int32_t TStreamWrapper::ReadInteger() {
    std::int32_t v = 0;
    Read(v);
    return v;
}

bool TStreamWrapper::ReadBoolean() {
    bool v = false;
    Read(v);
    return v;
}

std::uint16_t TStreamWrapper::ReadWord() {
    std::uint16_t v = 0;
    Read(v);
    return v;
}

std::wstring TStreamWrapper::ReadString() {
    std::wstring v;
    Read(v);
    return v;
}

}  // namespace vt
