// The small system categories that are not file searches: the hibernation
// file, the clipboard and the per-account unread-mail counters.
#pragma once

#include <memory>

#include "categories/windows/FileCategorySystem.h"
#include "model/VTCategory.h"

namespace vt {

// The hibernation file, removed by releasing it and reserving it again.
class THibernateCategory final : public TVTCategory {
public:
    explicit THibernateCategory(TVantrelShare& AVantrel, std::shared_ptr<IFileCategorySystem> ASystem = {});
    bool RemoveItem(TDetectedItem& Item) override;
    void Search() override;

private:
    std::shared_ptr<IFileCategorySystem> FSystem;
    // This engine has removed the file: it is not offered again unless the
    // options ask for it (Windows recreates it at once).
    bool FIsFileCleaned = false;
};

// The clipboard's contents as one item.
class TClipboardCategory final : public TVTCategory {
public:
    explicit TClipboardCategory(TVantrelShare& AVantrel);
    bool RemoveItem(TDetectedItem& Item) override;
    void Search() override;
};

// The unread-mail counters Windows keeps per mail account for its logon screen.
class TUnreadMailCount final : public TVTCategory {
public:
    explicit TUnreadMailCount(TVantrelShare& AVantrel);
    bool CheckIfInstalled() override;
    bool RemoveItem(TDetectedItem& Item) override;
    void Search() override;
};

}  // namespace vt
