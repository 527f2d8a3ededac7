// Language files: name=value lines, one text per string id of the engine
// ("S_COOKIES=Cookies"). UTF-8 (with or without a byte-order mark) or UTF-16LE
// with its byte-order mark. Blank lines and lines starting with ';' or '#' are
// comments.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "vantrel/Client.hpp"

namespace vantrel::cli {

// The lines of a language file's text (the file's bytes), comments dropped.
std::vector<std::wstring> ParseLanguageText(std::string_view bytes);

// Reads file into entries for ICleaner::Localize. A missing default file is
// only warned about (names then show as identifiers); throws Failure when an
// explicitly named file cannot be read.
void LoadLanguageFile(const std::wstring& file, std::vector<client::StringList::Entry>& entries,
                      bool mustExist = false);

}  // namespace vantrel::cli
