// TVTCategories: the registry of every category that applies to this machine,
// in the catalogue's fixed order. It answers lookups by position and by
// identifier, owns the user ignore list every category consults, and loads
// and saves the ignore lists.
//
// The catalogue is a list of rows in creation order; tests build a registry
// over catalogues of their own. A row of one category class is one line:
//     CategoryRow<TRecentDocsCategory>(),
//     CategoryRow<TCookiesCategory>(kBrowserIE, S_BROWSER_IE),
// A row may also build nothing (a category that does not apply here) or
// several categories in order (one per application definition).
#pragma once

#include <concepts>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "model/VTCategory.h"
#include "runtime/ComObject.h"
#include "runtime/StringList.h"
#include "vantrel/VantrelHelper.h"

namespace vt {

class TVantrelShare;
class TIgnoreListsManager;
class TIgnoreListAdapter;

// Builds one category (null when it does not apply).
using TCategoryFactory = std::function<Com<TVTCategory>(TVantrelShare& AVantrel)>;
// Receives each category a row builds, in order; the registry keeps it when installed.
using TCategorySink = std::function<void(Com<TVTCategory> ACategory)>;
// Builds any number of categories and hands each to the sink.
using TCategoryGroupFactory = std::function<void(TVantrelShare& AVantrel, const TCategorySink& AAdd)>;

// One catalogue row, made from either kind of factory.
class TCategoryRow {
public:
    template <class F>
        requires std::is_invocable_r_v<Com<TVTCategory>, F&, TVantrelShare&>
    TCategoryRow(F AFactory)  // NOLINT(google-explicit-constructor): rows are written as plain lambdas
        : FBuild([factory = TCategoryFactory(std::move(AFactory))](TVantrelShare& AVantrel, const TCategorySink& AAdd) {
              if (Com<TVTCategory> category = factory(AVantrel)) AAdd(std::move(category));
          }) {}

    template <class F>
        requires std::is_invocable_v<F&, TVantrelShare&, const TCategorySink&> &&
                 (!std::is_invocable_v<F&, TVantrelShare&>)
    TCategoryRow(F AFactory)  // NOLINT(google-explicit-constructor)
        : FBuild(std::move(AFactory)) {}

    // Builds the row's categories, handing each to AAdd in order.
    void Build(TVantrelShare& AVantrel, const TCategorySink& AAdd) const { FBuild(AVantrel, AAdd); }

private:
    TCategoryGroupFactory FBuild;
};

using TCategoryCatalogue = std::vector<TCategoryRow>;

// The row of category class T, built with the context and then AArgs (copied
// into the row) and finished through TVTCategory::Create.
template <class T, class... Args>
TCategoryRow CategoryRow(Args... AArgs) {
    return TCategoryFactory([... AArgs = std::move(AArgs)](TVantrelShare& AVantrel) -> Com<TVTCategory> {
        return TVTCategory::Create<T>(AVantrel, AArgs...);
    });
}

class TVTCategories final : public ComObject<ICategories> {
public:
    // Creates every category of the catalogue that is installed, in order,
    // with the user's ignore lists kept in the file AIgnoreListsPath.
    // An exception from a category's constructor or CheckIfInstalled propagates.
    TVTCategories(TVantrelShare& AVantrel, const TCategoryCatalogue& ACatalogue, std::wstring AIgnoreListsPath);
    ~TVTCategories() override;

    std::int32_t Count() const noexcept { return static_cast<std::int32_t>(FItems.size()); }
    // The category at AIndex; raises the list-index error outside 0..Count-1.
    TVTCategory& GetItemObj(std::int32_t AIndex) const;
    // By identifier: the category at position AID when it carries AID, else the
    // first that does; null when none.
    TVTCategory* GetItemObjByID(std::int32_t AID) const;
    // Categories whose check mark is set (the name is spelled so on purpose).
    std::int32_t GetEnabledGategoriesCount() const;

    // Reads the user ignore list from the ignore-lists file and links it to every category.
    void LoadIgnoreLists();
    // Writes the user ignore list to the ignore-lists file.
    void SaveIgnoreLists();
    TIgnoreListAdapter& IgnoreListAdapter() noexcept { return *FIgnoreListAdapter; }

    // ICategories
    HRESULT STDMETHODCALLTYPE GetCount(std::int32_t* count) override;
    HRESULT STDMETHODCALLTYPE GetItem(std::int32_t index, ICategory** category) override;
    HRESULT STDMETHODCALLTYPE GetItemByID(std::int32_t id, ICategory** category) override;

private:
    // Appends the category when installed (linking the ignore list), drops it otherwise.
    void AddCategory(Com<TVTCategory> ACategory);
    void Link(bool Load);

    std::vector<Com<TVTCategory>> FItems;
    TVantrelShare& FVantrel;
    std::unique_ptr<TIgnoreListsManager> FIgnoreListsManager;
    std::unique_ptr<StringList> FIgnoreList;
    Com<TIgnoreListAdapter> FIgnoreListAdapter;
};

}  // namespace vt
