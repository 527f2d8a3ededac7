// Fuzz target: a detected-items list read from arbitrary bytes (the item
// records of saved scan results). Reading may fail with vt::Exception, never
// crash; whatever loads must save and load back to the same bytes.
#include <cstdint>
#include <cstdlib>

#include "model/DetectedItems.h"
#include "model/StreamWrapper.h"
#include "runtime/ComBoundary.h"
#include "runtime/Exception.h"
#include "runtime/Stream.h"

namespace {

std::vector<std::uint8_t> Save(const vt::TDetectedItems& list) {
    vt::MemoryStream stream;
    vt::TStreamWrapper writer(stream);
    list.SaveToStream(writer);
    return stream.Bytes();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vt::Com<vt::TDetectedItems> list = vt::MakeCom<vt::TDetectedItems>(nullptr);
    vt::MemoryStream input(data, size);
    vt::TStreamWrapper reader(input);
    try {
        list->LoadFromStream(reader);
    } catch (const vt::Exception&) {
        return 0;
    }
    // Read every item through the interface the host uses.
    std::int32_t count = 0;
    list->GetCount(&count);
    for (std::int32_t i = 0; i < count; ++i) {
        vt::Com<IDetectedItem> item;
        list->GetItem(i, item.Put());
        BSTR text = nullptr;
        if (SUCCEEDED(item->GetItemName(&text))) vt::FromBstrOwned(text);
    }
    // Loading again into the same list replaces what it holds.
    const std::vector<std::uint8_t> first = Save(*list);
    vt::MemoryStream again(first);
    vt::TStreamWrapper rereader(again);
    list->LoadFromStream(rereader);
    if (Save(*list) != first) std::abort();
    return 0;
}
