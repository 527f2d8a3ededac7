#include "model/VTSections.h"

#include "model/VantrelShare.h"
#include "runtime/ComBoundary.h"
#include "runtime/Exception.h"
#include "services/IgnoreListAdapter.h"
#include "services/IgnoreLists.h"

namespace vt {

namespace {

// Ends an update of the ignore-lists file on every way out.
class UpdateScope {
public:
    UpdateScope(TIgnoreListsManager& manager, bool onlyRead) : manager_(manager) { manager_.BeginUpdate(onlyRead); }
    ~UpdateScope() { manager_.EndUpdate(); }
    UpdateScope(const UpdateScope&) = delete;
    UpdateScope& operator=(const UpdateScope&) = delete;

private:
    TIgnoreListsManager& manager_;
};

}  // namespace

TVTCategories::TVTCategories(TVantrelShare& AVantrel, const TCategoryCatalogue& ACatalogue,
                             std::wstring AIgnoreListsPath)
    : FVantrel(AVantrel),
      FIgnoreListsManager(std::make_unique<TIgnoreListsManager>(std::move(AIgnoreListsPath))),
      FIgnoreList(std::make_unique<StringList>()),
      FIgnoreListAdapter(MakeCom<TIgnoreListAdapter>(FIgnoreList.get())) {
    const TCategorySink add = [this](Com<TVTCategory> ACategory) {
        if (ACategory) AddCategory(std::move(ACategory));
    };
    for (const TCategoryRow& row : ACatalogue) row.Build(FVantrel, add);
    // The list starts empty until the host loads the ignore lists.
    Link(false);
}

TVTCategories::~TVTCategories() {
    // Categories the host still holds must not reach the list freed here.
    for (auto& category : FItems) category->SetLinks(nullptr);
    FIgnoreListAdapter->Assign(nullptr);
}

void TVTCategories::AddCategory(Com<TVTCategory> ACategory) {
    // Categories of programs or features that are absent never appear, so
    // positions differ between machines; hosts address categories by identifier.
    if (!ACategory->IsInstalled()) return;
    ACategory->SetLinks(FIgnoreListAdapter.Get());
    FItems.push_back(std::move(ACategory));
}

TVTCategory& TVTCategories::GetItemObj(std::int32_t AIndex) const {
    if (AIndex < 0 || AIndex >= Count()) ThrowListIndex(AIndex);
    return *FItems[static_cast<std::size_t>(AIndex)];
}

TVTCategory* TVTCategories::GetItemObjByID(std::int32_t AID) const {
    if (AID >= 0 && AID < Count() && static_cast<std::int32_t>(FItems[AID]->CategoryType()) == AID)
        return FItems[AID].Get();
    for (const auto& category : FItems)
        if (static_cast<std::int32_t>(category->CategoryType()) == AID) return category.Get();
    return nullptr;
}

std::int32_t TVTCategories::GetEnabledGategoriesCount() const {
    std::int32_t n = 0;
    for (const auto& category : FItems)
        if (category->Enabled()) ++n;
    return n;
}

void TVTCategories::Link(bool Load) {
    FIgnoreList->Clear();
    UpdateScope update(*FIgnoreListsManager, true);
    if (Load) FIgnoreListsManager->LoadIgnoreList(kUserIgnoreListId, *FIgnoreList);
    for (auto& category : FItems) category->SetLinks(FIgnoreListAdapter.Get());
}

void TVTCategories::LoadIgnoreLists() { Link(true); }

void TVTCategories::SaveIgnoreLists() {
    UpdateScope update(*FIgnoreListsManager, false);
    if (FIgnoreListsManager->IgnoreListExists(kUserIgnoreListId))
        FIgnoreListsManager->ReplaceIgnoreList(kUserIgnoreListId, *FIgnoreList);
    else
        FIgnoreListsManager->AddIgnoreList(kUserIgnoreListId, *FIgnoreList);
}

HRESULT TVTCategories::GetCount(std::int32_t* count) {
    return Guarded([&] { *Out(count) = Count(); });
}

HRESULT TVTCategories::GetItem(std::int32_t index, ICategory** category) {
    return Guarded([&] {
        Out(category);
        *category = nullptr;
        AssignInterface(category, static_cast<ICategory*>(&GetItemObj(index)));
    });
}

HRESULT TVTCategories::GetItemByID(std::int32_t id, ICategory** category) {
    return Guarded([&] { AssignInterface(category, static_cast<ICategory*>(GetItemObjByID(id))); });
}

}  // namespace vt
