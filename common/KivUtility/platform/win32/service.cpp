// Services of Windows, through its service control manager.
#include "platform/service.h"

#include "KivPlatform.h"

#include <algorithm>
#include <memory>
#include <type_traits>

namespace kiv::platform {

namespace {

struct Close {
    void operator()(SC_HANDLE handle) const { ::CloseServiceHandle(handle); }
};

using ServiceHandle = std::unique_ptr<std::remove_pointer_t<SC_HANDLE>, Close>;

// Whether it gets from starting to running in time.
bool ComesToRun(SC_HANDLE service, std::uint32_t timeoutMs) {
    constexpr DWORD kStepMs = 50;
    const DWORD     from    = ::GetTickCount();
    while (true) {
        SERVICE_STATUS status{};
        if (::QueryServiceStatus(service, &status) == 0) return false;
        if (status.dwCurrentState == SERVICE_RUNNING) return true;
        const DWORD waited = ::GetTickCount() - from;
        if (status.dwCurrentState != SERVICE_START_PENDING || waited >= timeoutMs) return false;
        ::Sleep(std::min<DWORD>(kStepMs, timeoutMs - waited));
    }
}

} // namespace

const char* const kDefaultMediaFolder      = "C:\\Program Files\\Darwin Streaming Server\\Movies";
const char* const kDefaultStreamingService = "Darwin Streaming Server";

bool StartSystemService(const char* name, std::uint32_t timeoutMs, const char*) noexcept {
    const ServiceHandle manager(::OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager) return false;
    const ServiceHandle service(::OpenServiceA(manager.get(), name, SERVICE_START | SERVICE_QUERY_STATUS));
    if (!service) return false;
    if (::StartServiceA(service.get(), 0, nullptr) == 0
        && ::GetLastError() != ERROR_SERVICE_ALREADY_RUNNING) {
        return false;
    }
    return ComesToRun(service.get(), timeoutMs);
}

} // namespace kiv::platform
