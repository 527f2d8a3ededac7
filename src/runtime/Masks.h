// Wildcard masks as Delphi's Masks unit reads them: '*' matches any run of
// characters (also none), '?' exactly one, "[abc]" one of a set, "[a-z]" a
// range, "[!a-z]" anything outside; every other character stands for itself.
// Matching ignores case (vt::UpCaseChar) and covers the whole name.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vt {

// A parsed mask, for matching many names against one mask.
class Mask {
public:
    // Parses mask; an unterminated or empty set, or a range without a lower
    // end, raises the general error "'<mask>' is an invalid mask at (N)", N
    // being the 1-based position where parsing stopped (Length + 1 for a set
    // left open at the end).
    explicit Mask(std::wstring_view mask);

    // True when the whole of name matches; time is at most proportional to
    // name length times mask length (no exponential backtracking).
    bool Matches(std::wstring_view name) const noexcept;

private:
    struct Range {
        wchar_t low, high;  // upper-cased bounds, inclusive
    };
    struct Element {
        enum class Kind { Literal, AnyChar, AnyRun, Set } kind;
        wchar_t literal = 0;  // upper-cased
        bool negate = false;
        std::vector<Range> ranges;
    };

    bool MatchesOne(const Element& element, wchar_t c) const noexcept;

    std::vector<Element> elements_;
};

// True when name matches mask (see Mask); raises as Mask's constructor for an invalid mask.
bool MatchesMask(std::wstring_view name, std::wstring_view mask);

// True when s contains a wildcard ('*' or '?').
bool IsMaskedText(std::wstring_view s) noexcept;

}  // namespace vt
