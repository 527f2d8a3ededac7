#include "HostSupport.h"

namespace hosttest {

std::wstring ProgramFolder() {
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring p(path);
    return p.substr(0, p.find_last_of(L'\\') + 1);
}

const vantrel::client::Library& Dll() {
    static const vantrel::client::Library library(ProgramFolder() + L"VantrelHelper.dll");
    return library;
}

}  // namespace hosttest
