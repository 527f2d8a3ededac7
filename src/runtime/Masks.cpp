#include "runtime/Masks.h"

#include "runtime/Exception.h"
#include "runtime/Strings.h"

namespace vt {

namespace {

[[noreturn]] void InvalidMask(std::wstring_view mask, std::size_t position) {
    ThrowGeneral(L"'" + std::wstring(mask) + L"' is an invalid mask at (" +
                 IntToStr(static_cast<std::int64_t>(position)) + L")");
}

}  // namespace

Mask::Mask(std::wstring_view mask) {
    const std::size_t m = mask.size();
    std::size_t i = 0;
    while (i < m) {
        const wchar_t c = mask[i];
        Element element{};
        if (c == L'*') {
            ++i;
            // Consecutive stars match exactly what one star matches.
            if (!elements_.empty() && elements_.back().kind == Element::Kind::AnyRun) continue;
            element.kind = Element::Kind::AnyRun;
        } else if (c == L'?') {
            ++i;
            element.kind = Element::Kind::AnyChar;
        } else if (c == L'[') {
            element.kind = Element::Kind::Set;
            std::size_t j = i + 1;
            if (j < m && mask[j] == L'!') {
                element.negate = true;
                ++j;
            }
            bool haveLast = false;
            wchar_t last = 0;
            while (j < m && mask[j] != L']') {
                if (mask[j] == L'-') {
                    if (!haveLast) InvalidMask(mask, j + 1);
                    if (++j >= m) InvalidMask(mask, j + 1);
                    // As in Delphi the character after '-' is always the upper
                    // bound, even ']', and the lower bound stays the last
                    // single character.
                    element.ranges.push_back({last, UpCaseChar(mask[j])});
                } else {
                    last = UpCaseChar(mask[j]);
                    haveLast = true;
                    element.ranges.push_back({last, last});
                }
                ++j;
            }
            if (j >= m || element.ranges.empty()) InvalidMask(mask, j + 1);
            i = j + 1;
        } else {
            ++i;
            element.kind = Element::Kind::Literal;
            element.literal = UpCaseChar(c);
        }
        elements_.push_back(std::move(element));
    }
}

bool Mask::MatchesOne(const Element& element, wchar_t c) const noexcept {
    switch (element.kind) {
        case Element::Kind::Literal:
            return UpCaseChar(c) == element.literal;
        case Element::Kind::AnyChar:
            return true;
        case Element::Kind::Set: {
            const auto u = static_cast<std::uint32_t>(UpCaseChar(c));
            bool in = false;
            for (const Range& r : element.ranges)
                if (u >= static_cast<std::uint32_t>(r.low) && u <= static_cast<std::uint32_t>(r.high)) {
                    in = true;
                    break;
                }
            return in != element.negate;
        }
        case Element::Kind::AnyRun:
            break;
    }
    return false;
}

bool Mask::Matches(std::wstring_view name) const noexcept {
    // Every element but '*' consumes exactly one character, so on a mismatch it
    // is enough to let the most recent '*' swallow one more character: earlier
    // stars never need to be revisited.
    constexpr std::size_t kNone = static_cast<std::size_t>(-1);
    const std::size_t count = elements_.size();
    std::size_t e = 0, n = 0, star = kNone, starName = 0;
    while (n < name.size()) {
        if (e < count && elements_[e].kind == Element::Kind::AnyRun) {
            star = e++;
            starName = n;
        } else if (e < count && MatchesOne(elements_[e], name[n])) {
            ++e;
            ++n;
        } else if (star != kNone) {
            e = star + 1;
            n = ++starName;
        } else {
            return false;
        }
    }
    while (e < count && elements_[e].kind == Element::Kind::AnyRun) ++e;
    return e == count;
}

bool MatchesMask(std::wstring_view name, std::wstring_view mask) { return Mask(mask).Matches(name); }

bool IsMaskedText(std::wstring_view s) noexcept { return s.find_first_of(L"*?") != std::wstring_view::npos; }

}  // namespace vt
