// The elements of one data kind of one browser, over all its profiles' stores.
// Positions are 0-based; deleting an element moves the later ones down.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Store.h"

namespace kxb {

enum class Kind { Cookies, TypedHistory, VisitedHistory, Forms, Passwords, Searches, Sessions, Downloads };

// How an element list's elements can be deleted (the values cross the interface).
enum class RemovalMode : std::uint8_t { Nothing = 0, WholeStore = 1, ByElement = 2 };

// Status values of the enumeration callback.
enum class EnumStatus : std::uint8_t { Continue = 0, Complete = 1, Nothing = 2 };

// Yields the sink that removals go through now (the factory's backup service,
// which the host may replace at any time).
using SinkSource = std::function<BackupSink&()>;

class ElementList {
public:
    // Finds the stores afresh at every enumeration (profiles come and go).
    using StoreFinder = std::function<std::vector<std::unique_ptr<Store>>()>;
    // Called with status, elements loaded so far, store index, store count;
    // returns true to stop.
    using Progress = std::function<bool(EnumStatus, int loaded, int storeIndex, int storeCount)>;

    ElementList(RemovalMode mode, StoreFinder finder, SinkSource sink);
    ~ElementList();

    // While running() answers true (the browser runs) nothing is read or
    // written: enumeration reports status 2 and deletions answer false.
    void SetRunningCheck(std::function<bool()> running) { running_ = std::move(running); }

    // Drops what was loaded, then loads every store: status 0 after each store
    // read, 2 for a store that could not be read (its message kept in
    // LastError), 1 at the end. A locked store is not read.
    void Enumerate(const Progress& progress);
    void Clear();
    int Count() const { return static_cast<int>(elements_.size()); }
    // Null when index is out of range.
    const Element* At(int index) const;
    // Empty when index is out of range.
    std::optional<fs::path> StoreFile(int index) const;
    RemovalMode Mode() const { return mode_; }

    // False (store unchanged) on failure or out of range.
    bool DeleteElement(int index);
    // Deletes the data kind from every store found now.
    bool DeleteAll();

    // A removal run: false when a store is locked (then nothing is written).
    bool BeginRemove();
    // Commits what the run wrote; false when a store could not commit.
    bool EndRemove();

    const std::string& LastError() const { return error_; }

private:
    bool InRun() const { return run_ != nullptr; }
    bool BrowserRuns();

    RemovalMode mode_;
    StoreFinder finder_;
    SinkSource sink_;
    std::function<bool()> running_;
    std::vector<std::unique_ptr<Store>> stores_;
    std::vector<Element> elements_;
    std::unique_ptr<RemovalRun> run_;
    std::string error_;
};

}  // namespace kxb
