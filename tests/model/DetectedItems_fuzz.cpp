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

vt::Com<vt::TDetectedItems> Load(vt::MemoryStream& stream) {
    vt::Com<vt::TDetectedItems> list = vt::MakeCom<vt::TDetectedItems>(nullptr);
    vt::TStreamWrapper reader(stream);
    list->LoadFromStream(reader);
    return list;
}

std::vector<std::uint8_t> Save(const vt::TDetectedItems& list) {
    vt::MemoryStream stream;
    vt::TStreamWrapper writer(stream);
    list.SaveToStream(writer);
    return stream.Bytes();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vt::MemoryStream input(data, size);
    vt::Com<vt::TDetectedItems> list;
    try {
        list = Load(input);
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
        TLocationType type = ltUnknown;
        item->GetLocationType(&type);
    }
    const std::vector<std::uint8_t> first = Save(*list);
    vt::MemoryStream again(first);
    const std::vector<std::uint8_t> second = Save(*Load(again));
    if (first != second) std::abort();
    return 0;
}
