#include "services/DLLStrings.h"

#include <array>
#include <mutex>
#include <shared_mutex>

#include "runtime/Strings.h"

namespace vt {

namespace {

constexpr std::array<std::wstring_view, kLocalizerStrCount> kNames = {
    L"S_EMPTY",
    L"S_BROWSER_IE",
    L"S_BROWSER_FIREFOX",
    L"S_BROWSER_OPERA",
    L"S_BROWSER_APPLE",
    L"S_BROWSER_CHROME",
    L"S_GROUPED_PAGES",
    L"S_GROUPED_ENTRIES",
    L"S_SIZE_KB",
    L"S_ONE_ELEMENT_CATEGORY_IGNORED",
    L"S_CATEGORY_HAS_NO_ITEMS",
    L"S_TOTAL_ELEMENTS",
    L"S_VISITED_HISTORY",
    L"S_COOKIES",
    L"S_TYPED_HISTORY",
    L"S_AUTOCOMPLETE_FORMS",
    L"S_BROWSER_PASSWORDS",
    L"S_BROWSER_SEARCHES",
    L"S_BROWSER_SESSIONS",
    L"S_DOWNLOADS_HISTORY",
    L"S_VISITED_HISTORY_CATEGORY_DESCR",
    L"S_COOKIES_CATEGORY_DESCR",
    L"S_TYPED_HISTORY_CATEGORY_DESCR",
    L"S_AUTOCOMPLETE_FORMS_CATEGORY_DESCR",
    L"S_BROWSER_PASSWORDS_CATEGORY_DESCR",
    L"S_BROWSER_SEARCHES_CATEGORY_DESCR",
    L"S_BROWSER_SESSIONS_CATEGORY_DESCR",
    L"S_DOWNLOADS_HISTORY_CATEGORY_DESCR",
    L"ITEM_HISTORY_SHORT_DESCR",
    L"ITEM_COOKIES_SHORT_DESCR",
    L"ITEM_TYPED_HISTORY_SHORT_DESCR",
    L"ITEM_FORMS_SHORT_DESCR",
    L"ITEM_PASSWORDS_SHORT_DESCR",
    L"ITEM_SEARCHES_SHORT_DESCR",
    L"ITEM_SESSIONS_SHORT_DESCR",
    L"ITEM_DOWNLOADS_SHORT_DESCR",
    L"S_SYSTEM_SECTION_NAME",
    L"S_WINDOWS_TRACKS_SECTION_NAME",
    L"S_APP_SECTION_NAME",
    L"S_WIN_EXPLORER_SECTION_NAME",
    L"S_RECENT_DOCS_CATEGORY_NAME",
    L"S_RECENT_DOCS_CATEGORY_DESCR",
    L"S_RECENT_DOCS_CATEGORY_ITEM_SHORT_DESCR",
    L"S_RUN_MRU_CATEGORY_NAME",
    L"S_RUN_MRU_CATEGORY_DESCR",
    L"S_RUN_MRU_CATEGORY_ITEM_SHORT_DESCR",
    L"S_NETWORK_DRIVES_MRU_CATEGORY_NAME",
    L"S_NETWORK_DRIVES_MRU_CATEGORY_DESCR",
    L"S_NETWORK_DRIVES_MRU_CATEGORY_ITEM_SHORT_DESCR",
    L"S_OTHER_MRU_CATEGORY_NAME",
    L"S_OTHER_MRU_CATEGORY_DESCR",
    L"S_OTHER_MRU_CATEGORY_ITEM_SHORT_DESCR",
    L"S_START_MENU_CLICKS_CATEGORY_NAME",
    L"S_START_MENU_CLICKS_CATEGORY_DESCR",
    L"S_START_MENU_CLICKS_CATEGORY_ITEM_SHORT_DESCR",
    L"S_MFU_PROGRAMS_CATEGORY_NAME",
    L"S_MFU_PROGRAMS_CATEGORY_DESCR",
    L"S_MFU_PROGRAMS_CATEGORY_ITEM_SHORT_DESCR",
    L"S_FIND_AND_SEARCH_HISTORY_CATEGORY_NAME",
    L"S_FIND_AND_SEARCH_HISTORY_CATEGORY_DESCR",
    L"S_FIND_AND_SEARCH_HISTORY_ITEM_SHORT_DESCR",
    L"S_JUMP_LIST_RECENT_CATEGORY_NAME",
    L"S_JUMP_LIST_RECENT_CATEGORY_DESCR",
    L"S_JUMP_LIST_RECENT_ITEM_SHORT_DESCR",
    L"S_JUMP_LIST_FREQUENT_CATEGORY_NAME",
    L"S_JUMP_LIST_FREQUENT_CATEGORY_DESCR",
    L"S_JUMP_LIST_FREQUENT_ITEM_SHORT_DESCR",
    L"S_MEMORY_DUMPS_CATEGORY_NAME",
    L"S_MEMORY_DUMPS_CATEGORY_DESCR",
    L"S_MEMORY_DUMPS_CATEGORY_ITEM_SHORT_DESCR",
    L"S_CHKDSK_CATEGORY_NAME",
    L"S_CHKDSK_CATEGORY_DESCR",
    L"S_CHKDSK_CATEGORY_ITEM_SHORT_DESCR",
    L"S_CLIBOARD_CATEGORY_NAME",
    L"S_CLIBOARD_CATEGORY_CATEGORY_DESCR",
    L"S_INDEXED_FILES_CATEGORY_NAME",
    L"S_INDEXED_FILES_CATEGORY_DESCR",
    L"S_INDEXED_FILES_CATEGORY_ITEM_SHORT_DESCR",
    L"S_INDEXED_FILES_CATEGORY_ELEMENT",
    L"S_PRINTER_RECENT_FILES_CATEGORY_NAME",
    L"S_PRINTER_RECENT_FILES_CATEGORY_DESCR",
    L"S_PRINTER_RECENT_FILES_ITEM_SHORT_DESCR",
    L"S_CD_BURNING_STORAGE_CATEGORY_NAME",
    L"S_CD_BURNING_STORAGE_CATEGORY_DESCR",
    L"S_CD_BURNING_STORAGE_ITEM_SHORT_DESCR",
    L"S_WIN_DEBUG_HISTORY_CATEGORY_NAME",
    L"S_WIN_DEBUG_HISTORY_CATEGORY_DESCR",
    L"S_WIN_DEBUG_HISTORY_ITEM_SHORT_DESCR",
    L"S_UNREAD_MAIL_COUNT_CATEGORY_NAME",
    L"S_UNREAD_MAIL_COUNT_CATEGORY_DESCR",
    L"S_UNREAD_MAIL_COUNT_ITEM_SHORT_DESCR",
    L"S_STORED_APP_DESCRIPTIONS_CATEGORY_NAME",
    L"S_STORED_APP_DESCRIPTIONS_CATEGORY_DESCR",
    L"S_STORED_APP_DESCRIPTIONS_ITEM_SHORT_DESCR",
    L"S_HIBERNATE_FILE_CATEGORY_NAME",
    L"S_HIBERNATE_FILE_CATEGORY_DESCR",
    L"S_HIBERNATE_FILE_ITEM_SHORT_DESCR",
    L"S_EVENTS_LOGS_CATEGORY_NAME",
    L"S_EVENTS_LOGS_CATEGORY_DESCR",
    L"S_EVENTS_LOGS_CATEGORY_ITEM_SHORT_DESCR",
    L"S_WINDOWS_FIREWALL_LOG_CATEGORY_NAME",
    L"S_WINDOWS_FIREWALL_LOG_CATEGORY_DESCR",
    L"S_WINDOWS_FIREWALL_LOG_ITEM_SHORT_DESCR",
    L"S_APP_GENERAL_CATEGORY_DESCR",
    L"S_APP_GENERAL_CATEGORY_SHORT_DESCRIPTION",
};

static_assert(kNames.size() == S_APP_GENERAL_CATEGORY_SHORT_DESCRIPTION + 1, "one name per id");

// The table: filled with the fixed texts at load, the rest by Localize.
class StringTable {
public:
    StringTable() {
        texts_[S_BROWSER_IE] = L"Internet Explorer";
        texts_[S_BROWSER_FIREFOX] = L"Firefox";
        texts_[S_BROWSER_OPERA] = L"Opera";
        texts_[S_BROWSER_APPLE] = L"Apple Safari";
        texts_[S_BROWSER_CHROME] = L"Google Chrome";
    }

    std::wstring Get(TLocalizerStr id) const {
        std::shared_lock lock(mutex_);
        return texts_[id];
    }

    // Builds the new texts outside the lock, then swaps them in at once, so a
    // reader sees either the old language or the new one.
    void Localize(const StringList& strings) {
        std::array<std::wstring, kLocalizerStrCount> fresh;
        for (int id = kFirstLocalizedStr; id < kLocalizerStrCount; ++id)
            fresh[id] = strings.Values(kNames[id]);
        std::unique_lock lock(mutex_);
        for (int id = kFirstLocalizedStr; id < kLocalizerStrCount; ++id) texts_[id].swap(fresh[id]);
    }

private:
    mutable std::shared_mutex mutex_;
    std::array<std::wstring, kLocalizerStrCount> texts_;
};

StringTable& Table() {
    static StringTable table;
    return table;
}

bool Valid(TLocalizerStr id) noexcept { return id >= 0 && id < kLocalizerStrCount; }

}  // namespace

std::wstring_view LocalizerStrName(TLocalizerStr id) noexcept {
    return Valid(id) ? kNames[id] : std::wstring_view();
}

bool LocalizerStrFromName(std::wstring_view name, TLocalizerStr& id) noexcept {
    for (int i = 0; i < kLocalizerStrCount; ++i) {
        if (kNames[i] == name) {
            id = static_cast<TLocalizerStr>(i);
            return true;
        }
    }
    return false;
}

std::wstring LocalizedString(TLocalizerStr id) {
    return Valid(id) ? Table().Get(id) : std::wstring();
}

namespace Localizer {

void Localize(const StringList& strings) { Table().Localize(strings); }

std::wstring ReplaceIglTags(std::wstring_view text) {
    return ReplaceAll(text, L"<S_ONE_ELEMENT_CATEGORY_IGNORED>", Table().Get(S_ONE_ELEMENT_CATEGORY_IGNORED));
}

}  // namespace Localizer

}  // namespace vt
