#include "fakes/ServiceState.h"

namespace fakes {

DWORD ServiceState(const wchar_t* name)
{
    SC_HANDLE scm = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    if (!scm)
        return kServiceNotInstalled;
    SC_HANDLE service = OpenServiceW(scm, name, SERVICE_QUERY_STATUS);
    SERVICE_STATUS status = {};
    const DWORD state = service && QueryServiceStatus(service, &status) ? status.dwCurrentState : kServiceNotInstalled;
    if (service)
        CloseServiceHandle(service);
    CloseServiceHandle(scm);
    return state;
}

}  // namespace fakes
