// One browser as the library sees it: installation facts, and for each data
// kind the list of its elements over every profile.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "ElementList.h"

namespace kxb {

// What the system tells about a browser; the portable code takes it as given.
struct BrowserSetup {
    // Chrome: the "User Data" folder; Firefox: the folder of "profiles.ini".
    fs::path dataFolder;
    std::wstring exePath;
    // True while the browser's process runs (null: never).
    std::function<bool()> isRunning;
};

class Browser {
public:
    virtual ~Browser() = default;
    virtual std::wstring DisplayName() const = 0;
    virtual std::wstring Version() const = 0;
    virtual bool IsInstalled() const = 0;
    virtual bool IsDataLocked() const = 0;
    virtual std::wstring ExePath() const = 0;
    // Null when the browser does not keep this data kind.
    virtual std::unique_ptr<ElementList> MakeList(Kind kind, SinkSource sink) const = 0;
    // Empty when the browser does not keep this data kind.
    virtual std::wstring Root(Kind kind) const = 0;
};

// A browser this library does not read yet: never installed, keeps nothing.
std::unique_ptr<Browser> MakeAbsent(std::wstring displayName);
std::unique_ptr<Browser> MakeChrome(BrowserSetup setup);
std::unique_ptr<Browser> MakeFirefox(BrowserSetup setup);

}  // namespace kxb
