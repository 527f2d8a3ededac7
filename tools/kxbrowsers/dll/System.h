// What Windows tells the library about the browsers: where their data lies,
// where they are installed, whether they run; and the backup service as the
// portable core's sink.
#pragma once

#include <memory>
#include <mutex>

#include "Browser.h"
#include "ComBase.h"

namespace kxb::win {

// Google Chrome of the current user ("%LOCALAPPDATA%\Google\Chrome\User Data").
std::unique_ptr<Browser> MakeUserChrome();
// Firefox of the current user ("%APPDATA%\Mozilla\Firefox\profiles.ini").
std::unique_ptr<Browser> MakeUserFirefox();

// The backup service the host handed over (or none: then nothing is recorded
// and deleted files go straight away). Safe to replace while a removal runs:
// each call takes the service current at that moment.
class BackvaultSink final : public BackupSink {
public:
    void Set(IBackvault* service);
    bool BackupFile(const fs::path& file) override;
    bool RemoveFile(const fs::path& file) override;

private:
    com::Ref<IBackvault> Current();

    std::mutex lock_;
    com::Ref<IBackvault> service_;
    DirectFiles direct_;
};

}  // namespace kxb::win
