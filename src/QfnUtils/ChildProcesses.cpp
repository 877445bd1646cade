#include "QfnUtils/ChildProcesses.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <mutex>

#include "QfnLogger/Check.h"

extern char** environ;

namespace Qfn {

namespace {

// The children started by spawnDetached that have not been collected yet.
std::vector<pid_t>& spawnedChildren()
{
    static std::vector<pid_t>* pids = new std::vector<pid_t>();
    return *pids;
}

std::mutex& spawnedChildrenMutex()
{
    static std::mutex* mutex = new std::mutex();
    return *mutex;
}

// The spawn attributes of a detached child: its own session, standard streams on /dev/null, no
// other inherited descriptor (a listening socket must not outlive us in a child), and the signal
// dispositions and mask a freshly started program expects rather than ours.
class SpawnSetup {
public:
    SpawnSetup()
    {
        fActionsReady = ::posix_spawn_file_actions_init(&fActions) == 0;
        fAttributesReady = ::posix_spawnattr_init(&fAttributes) == 0;
    }
    ~SpawnSetup()
    {
        if (fActionsReady) ::posix_spawn_file_actions_destroy(&fActions);
        if (fAttributesReady) ::posix_spawnattr_destroy(&fAttributes);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;

    bool prepare()
    {
        sigset_t allSignals;
        sigset_t noSignals;
        sigfillset(&allSignals);
        sigemptyset(&noSignals);
        return fActionsReady && fAttributesReady &&
               ::posix_spawn_file_actions_addopen(&fActions, 0, "/dev/null", O_RDONLY, 0) == 0 &&
               ::posix_spawn_file_actions_addopen(&fActions, 1, "/dev/null", O_WRONLY, 0) == 0 &&
               ::posix_spawn_file_actions_addopen(&fActions, 2, "/dev/null", O_WRONLY, 0) == 0 &&
               ::posix_spawn_file_actions_addclosefrom_np(&fActions, 3) == 0 &&
               ::posix_spawnattr_setsigdefault(&fAttributes, &allSignals) == 0 &&
               ::posix_spawnattr_setsigmask(&fAttributes, &noSignals) == 0 &&
               ::posix_spawnattr_setflags(
                   &fAttributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK) == 0;
    }
    const posix_spawn_file_actions_t* actions() const { return &fActions; }
    const posix_spawnattr_t* attributes() const { return &fAttributes; }

private:
    posix_spawn_file_actions_t fActions{};
    posix_spawnattr_t fAttributes{};
    bool fActionsReady = false;
    bool fAttributesReady = false;
};

}  // namespace

pid_t ChildProcesses::spawnDetached(const std::vector<std::string>& arguments)
{
    pid_t retVal = 0;
    try {
        do {
            // clang-format off
            SANITY_CHECK(! arguments.empty());
            // clang-format on
            SpawnSetup setup;
            SANITY_CHECK(setup.prepare());
            std::vector<std::string> argumentCopies = arguments;
            std::vector<char*> argv;
            for (std::string& argument : argumentCopies)
                argv.push_back(argument.data());
            argv.push_back(nullptr);
            pid_t pid = 0;
            const int spawnResult = ::posix_spawn(&pid, arguments[0].c_str(), setup.actions(),
                                                  setup.attributes(), argv.data(), environ);
            VERIFY(spawnResult == 0);
            std::lock_guard<std::mutex> lock(spawnedChildrenMutex());
            spawnedChildren().push_back(pid);
            retVal = pid;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::vector<pid_t> ChildProcesses::reap()
{
    std::vector<pid_t> retVal;
    try {
        std::lock_guard<std::mutex> lock(spawnedChildrenMutex());
        std::erase_if(spawnedChildren(), [&retVal](pid_t pid) {
            int status = 0;
            const pid_t result = ::waitpid(pid, &status, WNOHANG);
            // ECHILD: someone else collected it, which ends it for us as well.
            const bool ended = result == pid || (result < 0 && errno == ECHILD);
            if (ended) retVal.push_back(pid);
            return ended;
        });
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

size_t ChildProcesses::countRunning()
{
    size_t retVal = 0;
    try {
        std::lock_guard<std::mutex> lock(spawnedChildrenMutex());
        retVal = spawnedChildren().size();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
