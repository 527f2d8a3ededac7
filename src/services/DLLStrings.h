// The ids of every text the engine shows, and the process-wide table that
// holds their texts in the host's language. The host hands its texts over as
// name=value lines keyed by the ids' names (Localize); ids 0 to 5 (the empty
// text and the five browser names) are fixed and never replaced.
//
// The table may be re-localized at any time, also while the worker thread
// reads from it: every access takes the table's lock and texts are returned
// by value.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/StringList.h"

namespace vt {

// Ids in their fixed order; the names are the keys of the host's lists, so
// misspellings such as S_CLIBOARD_CATEGORY_NAME are kept.
enum TLocalizerStr : std::int32_t {
    S_EMPTY,  // 0
    S_BROWSER_IE,  // 1
    S_BROWSER_FIREFOX,  // 2
    S_BROWSER_OPERA,  // 3
    S_BROWSER_APPLE,  // 4
    S_BROWSER_CHROME,  // 5
    S_GROUPED_PAGES,  // 6
    S_GROUPED_ENTRIES,  // 7
    S_SIZE_KB,  // 8
    S_ONE_ELEMENT_CATEGORY_IGNORED,  // 9
    S_CATEGORY_HAS_NO_ITEMS,  // 10
    S_TOTAL_ELEMENTS,  // 11
    S_VISITED_HISTORY,  // 12
    S_COOKIES,  // 13
    S_TYPED_HISTORY,  // 14
    S_AUTOCOMPLETE_FORMS,  // 15
    S_BROWSER_PASSWORDS,  // 16
    S_BROWSER_SEARCHES,  // 17
    S_BROWSER_SESSIONS,  // 18
    S_DOWNLOADS_HISTORY,  // 19
    S_VISITED_HISTORY_CATEGORY_DESCR,  // 20
    S_COOKIES_CATEGORY_DESCR,  // 21
    S_TYPED_HISTORY_CATEGORY_DESCR,  // 22
    S_AUTOCOMPLETE_FORMS_CATEGORY_DESCR,  // 23
    S_BROWSER_PASSWORDS_CATEGORY_DESCR,  // 24
    S_BROWSER_SEARCHES_CATEGORY_DESCR,  // 25
    S_BROWSER_SESSIONS_CATEGORY_DESCR,  // 26
    S_DOWNLOADS_HISTORY_CATEGORY_DESCR,  // 27
    ITEM_HISTORY_SHORT_DESCR,  // 28
    ITEM_COOKIES_SHORT_DESCR,  // 29
    ITEM_TYPED_HISTORY_SHORT_DESCR,  // 30
    ITEM_FORMS_SHORT_DESCR,  // 31
    ITEM_PASSWORDS_SHORT_DESCR,  // 32
    ITEM_SEARCHES_SHORT_DESCR,  // 33
    ITEM_SESSIONS_SHORT_DESCR,  // 34
    ITEM_DOWNLOADS_SHORT_DESCR,  // 35
    S_SYSTEM_SECTION_NAME,  // 36
    S_WINDOWS_TRACKS_SECTION_NAME,  // 37
    S_APP_SECTION_NAME,  // 38
    S_WIN_EXPLORER_SECTION_NAME,  // 39
    S_RECENT_DOCS_CATEGORY_NAME,  // 40
    S_RECENT_DOCS_CATEGORY_DESCR,  // 41
    S_RECENT_DOCS_CATEGORY_ITEM_SHORT_DESCR,  // 42
    S_RUN_MRU_CATEGORY_NAME,  // 43
    S_RUN_MRU_CATEGORY_DESCR,  // 44
    S_RUN_MRU_CATEGORY_ITEM_SHORT_DESCR,  // 45
    S_NETWORK_DRIVES_MRU_CATEGORY_NAME,  // 46
    S_NETWORK_DRIVES_MRU_CATEGORY_DESCR,  // 47
    S_NETWORK_DRIVES_MRU_CATEGORY_ITEM_SHORT_DESCR,  // 48
    S_OTHER_MRU_CATEGORY_NAME,  // 49
    S_OTHER_MRU_CATEGORY_DESCR,  // 50
    S_OTHER_MRU_CATEGORY_ITEM_SHORT_DESCR,  // 51
    S_START_MENU_CLICKS_CATEGORY_NAME,  // 52
    S_START_MENU_CLICKS_CATEGORY_DESCR,  // 53
    S_START_MENU_CLICKS_CATEGORY_ITEM_SHORT_DESCR,  // 54
    S_MFU_PROGRAMS_CATEGORY_NAME,  // 55
    S_MFU_PROGRAMS_CATEGORY_DESCR,  // 56
    S_MFU_PROGRAMS_CATEGORY_ITEM_SHORT_DESCR,  // 57
    S_FIND_AND_SEARCH_HISTORY_CATEGORY_NAME,  // 58
    S_FIND_AND_SEARCH_HISTORY_CATEGORY_DESCR,  // 59
    S_FIND_AND_SEARCH_HISTORY_ITEM_SHORT_DESCR,  // 60
    S_JUMP_LIST_RECENT_CATEGORY_NAME,  // 61
    S_JUMP_LIST_RECENT_CATEGORY_DESCR,  // 62
    S_JUMP_LIST_RECENT_ITEM_SHORT_DESCR,  // 63
    S_JUMP_LIST_FREQUENT_CATEGORY_NAME,  // 64
    S_JUMP_LIST_FREQUENT_CATEGORY_DESCR,  // 65
    S_JUMP_LIST_FREQUENT_ITEM_SHORT_DESCR,  // 66
    S_MEMORY_DUMPS_CATEGORY_NAME,  // 67
    S_MEMORY_DUMPS_CATEGORY_DESCR,  // 68
    S_MEMORY_DUMPS_CATEGORY_ITEM_SHORT_DESCR,  // 69
    S_CHKDSK_CATEGORY_NAME,  // 70
    S_CHKDSK_CATEGORY_DESCR,  // 71
    S_CHKDSK_CATEGORY_ITEM_SHORT_DESCR,  // 72
    S_CLIBOARD_CATEGORY_NAME,  // 73
    S_CLIBOARD_CATEGORY_CATEGORY_DESCR,  // 74
    S_INDEXED_FILES_CATEGORY_NAME,  // 75
    S_INDEXED_FILES_CATEGORY_DESCR,  // 76
    S_INDEXED_FILES_CATEGORY_ITEM_SHORT_DESCR,  // 77
    S_INDEXED_FILES_CATEGORY_ELEMENT,  // 78
    S_PRINTER_RECENT_FILES_CATEGORY_NAME,  // 79
    S_PRINTER_RECENT_FILES_CATEGORY_DESCR,  // 80
    S_PRINTER_RECENT_FILES_ITEM_SHORT_DESCR,  // 81
    S_CD_BURNING_STORAGE_CATEGORY_NAME,  // 82
    S_CD_BURNING_STORAGE_CATEGORY_DESCR,  // 83
    S_CD_BURNING_STORAGE_ITEM_SHORT_DESCR,  // 84
    S_WIN_DEBUG_HISTORY_CATEGORY_NAME,  // 85
    S_WIN_DEBUG_HISTORY_CATEGORY_DESCR,  // 86
    S_WIN_DEBUG_HISTORY_ITEM_SHORT_DESCR,  // 87
    S_UNREAD_MAIL_COUNT_CATEGORY_NAME,  // 88
    S_UNREAD_MAIL_COUNT_CATEGORY_DESCR,  // 89
    S_UNREAD_MAIL_COUNT_ITEM_SHORT_DESCR,  // 90
    S_STORED_APP_DESCRIPTIONS_CATEGORY_NAME,  // 91
    S_STORED_APP_DESCRIPTIONS_CATEGORY_DESCR,  // 92
    S_STORED_APP_DESCRIPTIONS_ITEM_SHORT_DESCR,  // 93
    S_HIBERNATE_FILE_CATEGORY_NAME,  // 94
    S_HIBERNATE_FILE_CATEGORY_DESCR,  // 95
    S_HIBERNATE_FILE_ITEM_SHORT_DESCR,  // 96
    S_EVENTS_LOGS_CATEGORY_NAME,  // 97
    S_EVENTS_LOGS_CATEGORY_DESCR,  // 98
    S_EVENTS_LOGS_CATEGORY_ITEM_SHORT_DESCR,  // 99
    S_WINDOWS_FIREWALL_LOG_CATEGORY_NAME,  // 100
    S_WINDOWS_FIREWALL_LOG_CATEGORY_DESCR,  // 101
    S_WINDOWS_FIREWALL_LOG_ITEM_SHORT_DESCR,  // 102
    S_APP_GENERAL_CATEGORY_DESCR,  // 103
    S_APP_GENERAL_CATEGORY_SHORT_DESCRIPTION,  // 104
};

// Number of ids (0 .. kLocalizerStrCount - 1).
constexpr int kLocalizerStrCount = 105;
// The first id whose text comes from the host.
constexpr TLocalizerStr kFirstLocalizedStr = S_GROUPED_PAGES;

// The name of an id ("S_COOKIES"); empty for a value outside the enumeration.
std::wstring_view LocalizerStrName(TLocalizerStr id) noexcept;
// The id named name (exact case); false when no id has that name.
bool LocalizerStrFromName(std::wstring_view name, TLocalizerStr& id) noexcept;

// The table's current text of id; empty for a value outside the enumeration.
std::wstring LocalizedString(TLocalizerStr id);

namespace Localizer {

// Sets the text of every id from S_GROUPED_PAGES on to the value strings
// holds under the id's name (empty when absent); ids 0 to 5 stay as they are.
void Localize(const StringList& strings);

// text with each "<S_ONE_ELEMENT_CATEGORY_IGNORED>" (exact case) replaced by
// the current text of S_ONE_ELEMENT_CATEGORY_IGNORED.
std::wstring ReplaceIglTags(std::wstring_view text);

}  // namespace Localizer

}  // namespace vt
