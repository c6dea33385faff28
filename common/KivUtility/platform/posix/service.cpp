// Services of systemd, through its command: without a shell, an inherited environment, or a question to
// answer.
#include "platform/service.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string_view>
#include <thread>

#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kiv::platform {

namespace {

constexpr const char* kManagers[] = {"/usr/bin/systemctl", "/bin/systemctl"};

// The characters of a unit's name (systemd.unit(5)); what would be a pattern is none.
bool IsUnitName(std::string_view name) {
    const auto isAllowed = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z')
               || std::string_view(":-_.\\@").find(c) != std::string_view::npos;
    };
    return !name.empty() && name.size() < 256 && name[0] != '-' && std::ranges::all_of(name, isAllowed);
}

// What a new process gets of ours: nothing open, no signal blocked or ignored.
class Clean {
public:
    Clean() {
        ::posix_spawn_file_actions_init(&m_files);
        ::posix_spawn_file_actions_addopen(&m_files, STDIN_FILENO, "/dev/null", O_RDWR, 0);
        ::posix_spawn_file_actions_adddup2(&m_files, STDIN_FILENO, STDOUT_FILENO);
        ::posix_spawn_file_actions_adddup2(&m_files, STDIN_FILENO, STDERR_FILENO);
        ::posix_spawn_file_actions_addclosefrom_np(&m_files, STDERR_FILENO + 1);
        sigset_t signals;
        ::posix_spawnattr_init(&m_attributes);
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&m_attributes, &signals);
        ::sigfillset(&signals);
        ::posix_spawnattr_setsigdefault(&m_attributes, &signals);
        ::posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }

    Clean(const Clean&)            = delete;
    Clean& operator=(const Clean&) = delete;

    ~Clean() {
        ::posix_spawn_file_actions_destroy(&m_files);
        ::posix_spawnattr_destroy(&m_attributes);
    }

    // The process, or -1.
    pid_t Start(const char* program, const char* const* arguments) {
        static const char* const environment[] = {"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL=C", nullptr};
        pid_t                    process       = -1;
        const int                error =
            ::posix_spawn(&process, program, &m_files, &m_attributes, const_cast<char* const*>(arguments),
                          const_cast<char* const*>(environment));
        return error == 0 ? process : -1;
    }

private:
    posix_spawn_file_actions_t m_files;
    posix_spawnattr_t          m_attributes;
};

// Whether the process ends in time and with status 0; one that takes longer is ended.
bool Succeeds(pid_t process, std::uint32_t timeoutMs) {
    constexpr std::chrono::milliseconds kStep(10);
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (true) {
        int         status = 0;
        const pid_t ended  = ::waitpid(process, &status, WNOHANG);
        if (ended == process) return WIFEXITED(status) && WEXITSTATUS(status) == 0;
        if (ended < 0 && errno != EINTR) return false; // a server that ignores SIGCHLD never learns
        if (std::chrono::steady_clock::now() >= until) break;
        std::this_thread::sleep_for(kStep);
    }
    ::kill(process, SIGKILL);
    while (::waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
    }
    return false;
}

} // namespace

const char* const kDefaultMediaFolder      = "/usr/local/movies";
const char* const kDefaultStreamingService = "dss.service";

bool StartSystemService(const char* name, std::uint32_t timeoutMs, const char* manager) noexcept {
    if (!IsUnitName(name)) return false;
    const auto isThere = [](const char* program) { return ::access(program, X_OK) == 0; };
    if (manager == nullptr) manager = *std::ranges::find_if(kManagers, kManagers + 1, isThere);
    const char* const arguments[] = {"systemctl", "--no-ask-password", "start", "--", name, nullptr};
    const pid_t       process     = Clean().Start(manager, arguments);
    return process > 0 && Succeeds(process, timeoutMs);
}

} // namespace kiv::platform
