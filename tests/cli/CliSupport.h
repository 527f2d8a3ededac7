// Drives the real vantrel.exe (beside the test program) the way a user or a
// script does: a command line in, exit code and output out.
#pragma once

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

#include "vantrel/ComTypes.h"

namespace clitest {

struct Outcome {
    int code = -1;
    std::string out, err;  // UTF-8, as the pipe carries them
};

// Runs vantrel.exe with args (each quoted for the command line) and input on
// its standard input.
Outcome Vantrel(const std::vector<std::wstring>& args, const std::string& input = {});

// Parses out as JSON; fails the test (and yields null) when it is not.
nlohmann::json Json(const Outcome& outcome);

std::wstring ProgramFolder();
// %LOCALAPPDATA%\Vantrel\Host\ of the test prefix.
std::wstring HostStateFolder();
bool Exists(const std::wstring& path);
std::string Utf8(const std::wstring& text);
std::wstring Wide(const std::string& text);

// A file's bytes; empty when it cannot be read.
std::string ReadBytes(const std::wstring& path);
// Writes a file, creating its folders.
void WriteBytes(const std::wstring& path, const std::string& bytes);

}  // namespace clitest
