// Native test programs keep the product's data folder in a fresh temporary
// folder, never in the user's home: set before main() runs.
#include <cstdlib>
#include <string>

#include <unistd.h>

namespace {

struct DataFolderForTests {
    DataFolderForTests() {
        if (std::getenv("VANTREL_DATA_FOLDER") != nullptr) return;
        std::string pattern = "/tmp/vantrel-tests-XXXXXX";
        if (char* made = ::mkdtemp(pattern.data())) ::setenv("VANTREL_DATA_FOLDER", made, 1);
    }
} gDataFolderForTests;

}  // namespace
