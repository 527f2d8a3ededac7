#include "ElementList.h"

#include "Text.h"

namespace kxb {

ElementList::ElementList(RemovalMode mode, StoreFinder finder, SinkSource sink)
    : mode_(mode), finder_(std::move(finder)), sink_(std::move(sink)) {}

ElementList::~ElementList() {
    if (InRun()) EndRemove();
}

void ElementList::Clear() {
    elements_.clear();
    elements_.shrink_to_fit();
}

bool ElementList::BrowserRuns() {
    if (!running_ || !running_()) return false;
    error_ = "the browser is running";
    return true;
}

void ElementList::Enumerate(const Progress& progress) {
    if (InRun()) EndRemove();
    Clear();
    error_.clear();
    if (BrowserRuns()) {
        if (progress && progress(EnumStatus::Nothing, 0, 0, 0)) return;
        if (progress) progress(EnumStatus::Complete, 0, 0, 0);
        return;
    }
    stores_ = finder_();
    const int count = static_cast<int>(stores_.size());
    for (int i = 0; i < count; ++i) {
        Store& store = *stores_[i];
        EnumStatus status = EnumStatus::Continue;
        const std::size_t before = elements_.size();
        if (store.IsLocked()) {
            error_ = Utf8Path(store.File().filename()) + ": database is locked";
            status = EnumStatus::Nothing;
        } else {
            try {
                store.Load(elements_, static_cast<std::uint32_t>(i));
            } catch (const StoreError& e) {
                elements_.resize(before);  // a store is taken whole or not at all
                error_ = e.what();
                status = EnumStatus::Nothing;
            }
        }
        if (progress && progress(status, Count(), i, count)) return;
    }
    if (progress) progress(EnumStatus::Complete, Count(), count, count);
}

const Element* ElementList::At(int index) const {
    if (index < 0 || index >= Count()) return nullptr;
    return &elements_[static_cast<std::size_t>(index)];
}

std::optional<fs::path> ElementList::StoreFile(int index) const {
    const Element* e = At(index);
    if (!e) return std::nullopt;
    return stores_[e->store]->File();
}

bool ElementList::DeleteElement(int index) {
    const Element* e = At(index);
    if (!e || mode_ != RemovalMode::ByElement || BrowserRuns()) return false;
    Store& store = *stores_[e->store];
    bool ok;
    if (InRun()) {
        ok = store.Delete(*e, *run_);
    } else {
        RemovalRun single(sink_());
        ok = store.Delete(*e, single);
        ok = store.Finish() && ok;  // also ends a transaction a failed delete left open
    }
    if (!ok) {
        error_ = store.LastError();
        return false;
    }
    elements_.erase(elements_.begin() + index);
    return true;
}

bool ElementList::DeleteAll() {
    if (mode_ == RemovalMode::Nothing || BrowserRuns()) return false;
    // The stores found now: a removal after loaded scan results may come
    // before any enumeration.
    if (stores_.empty()) stores_ = finder_();
    std::unique_ptr<RemovalRun> single;
    RemovalRun* run = run_.get();
    if (!run) {
        single = std::make_unique<RemovalRun>(sink_());
        run = single.get();
    }
    bool ok = true;
    for (auto& store : stores_) {
        bool done = store->DeleteAll(*run);
        if (!InRun()) done = store->Finish() && done;
        if (!done) {
            error_ = store->LastError();
            ok = false;
        }
    }
    if (ok) Clear();
    return ok;
}

bool ElementList::BeginRemove() {
    if (BrowserRuns()) return false;
    if (stores_.empty()) stores_ = finder_();
    for (auto& store : stores_) {
        if (store->IsLocked()) {
            error_ = Utf8Path(store->File().filename()) + ": database is locked";
            return false;
        }
    }
    run_ = std::make_unique<RemovalRun>(sink_());
    return true;
}

bool ElementList::EndRemove() {
    bool ok = true;
    for (auto& store : stores_) {
        if (!store->Finish()) {
            error_ = store->LastError();
            ok = false;
        }
    }
    run_.reset();
    return ok;
}

}  // namespace kxb
