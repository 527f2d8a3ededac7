// The commands of the vantrel host. Each returns the program's exit code and
// reports failures by throwing Failure (see Host.h).
#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

#include "Host.h"

namespace vantrel::cli {

struct CommonOptions {
    HostOptions host;
    bool json = false;
    bool noProgress = false;
};

struct ScanOptions {
    std::vector<std::string> categories;
    bool noSave = false;
};

struct CleanOptions {
    std::vector<std::string> categories;
    bool yes = false;
    bool noBackup = false;
    bool wipe = false;
    int passes = 1;
    std::string from;  // empty: the last scan
};

int ListCategories(const CommonOptions& common, bool all);
int Scan(const CommonOptions& common, const ScanOptions& options);
int ShowItems(const CommonOptions& common, const std::vector<std::string>& categories, const std::string& from);
int Clean(const CommonOptions& common, const CleanOptions& options);
int ShowReport(const CommonOptions& common);
int SaveResults(const CommonOptions& common, const std::string& file);
int LoadResults(const CommonOptions& common, const std::string& file);

int IgnoreList(const CommonOptions& common);
int IgnoreAdd(const CommonOptions& common, const std::string& location, const std::string& mask);
int IgnoreRemove(const CommonOptions& common, const std::string& target);

int SessionsList(const CommonOptions& common);
int SessionsShow(const CommonOptions& common, const std::string& id);
int SessionsUndo(const CommonOptions& common, const std::string& id);
int SessionsDelete(const CommonOptions& common, const std::string& id);

// Shared by the command files.
void PrintJson(const nlohmann::json& value);
// Prints rows under headers, columns padded to their widest cell; columns
// listed in rightAligned are aligned right.
void PrintTable(const std::vector<std::string>& headers, const std::vector<std::vector<std::string>>& rows,
                const std::vector<std::size_t>& rightAligned = {});

}  // namespace vantrel::cli
