// The coordinator's side of the star of coordinators on one host: its own read pipe, the names of
// the processes that write into it, and the launch lines of its siblings in the configuration.
#include <algorithm>
#include <filesystem>
#include <unordered_map>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnData/Ini.h"
#include "QfnLogger/Check.h"
#include "QfnLogger/Log.h"
#include "QfnUtils/Clock.h"
#include "QfnUtils/Dirs.h"
#include "QfnUtils/Pipes.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

const std::string kCoordinatorNamePrefix = "net.quillfern.coordinator.";
const std::string kSiblingsSection = "siblings";
const std::string kPidFileExtension = ".pid";

// Complete messages taken from the pipe in one round at most, so that a flood does not hold up the
// rest of the round.
constexpr int kMaxPipeMessagesPerRound = 1000;

// A sibling's key in the "siblings" section may be its short name or its full name.
std::string fullCoordinatorName(const std::string& name)
{
    if (name.compare(0, kCoordinatorNamePrefix.size(), kCoordinatorNamePrefix) == 0) return name;
    return kCoordinatorNamePrefix + name;
}

std::string shortCoordinatorName(const std::string& name)
{
    if (name.compare(0, kCoordinatorNamePrefix.size(), kCoordinatorNamePrefix) == 0)
        return name.substr(kCoordinatorNamePrefix.size());
    return name;
}

// Process IDs already matched to the names in their pid files; forgotten when it grows large, since
// processes come and go.
std::unordered_map<unsigned long, std::string>& namesByProcess()
{
    static std::unordered_map<unsigned long, std::string> names;
    return names;
}

constexpr size_t kMaxRememberedProcesses = 1024;

constexpr int64_t kMarkerCheckIntervalNanoseconds = 100000000;
int64_t gNextMarkerCheck = 0;

}  // namespace

std::string InternalCoordinator::getNamedPipePath() const
{
    return getPipeFolderPath() + fCoordinatorName;
}

bool InternalCoordinator::monitorNamedPipe()
{
    bool retVal = false;
    try {
        do {
            // The path is worked out (which tests the folder on the disk) only while no pipe is open:
            // this runs twice in every round.
            if (fNamedPipeHandle == 0) fOwnNamedPipePath = getNamedPipePath();
            const std::string& path = fOwnNamedPipePath;
            // Whether the marker is still there is read from the disk ten times a second at most.
            const int64_t now = Clock::nowNanoseconds();
            const bool isMarkerCheckDue = now >= gNextMarkerCheck;
            if (isMarkerCheckDue) gNextMarkerCheck = now + kMarkerCheckIntervalNanoseconds;
            if (fNamedPipeHandle != 0 && isMarkerCheckDue && !Pipes::namedPipeExists(path)) {
                LOG_NOTE(Utils::stringWithFormat("closing handle %d because pipe does not exist any more %s",
                                                 fNamedPipeHandle, path.c_str()));
                Pipes::closeNamedPipe(fNamedPipeHandle);
                LOG_NOTE(Utils::stringWithFormat("handle closed %s", path.c_str()));
                fNamedPipeHandle = 0;
            }
            if (fNamedPipeHandle == 0) {
                if (fIsTerminating && Pipes::isAllReadPipesIdle()) {
                    if (Pipes::namedPipeExists(path)) {
                        LOG_NOTE(Utils::stringWithFormat("busy terminating. Destroy input named pipe %s", path.c_str()));
                        SANITY_CHECK(destroyNamedPipe());
                        LOG_NOTE(Utils::stringWithFormat("pipe destroyed %s", path.c_str()));
                    }
                    retVal = true;
                    break;
                }
                if (fIsTerminating) {
                    retVal = true;
                    break;
                }
                LOG_NOTE(Utils::stringWithFormat("opening named pipe %s", path.c_str()));
                fNamedPipeHandle = Pipes::openReadNamedPipe(path);
                if (fNamedPipeHandle == 0) {
                    LOG_ERROR(Utils::stringWithFormat(
                        "cannot open read pipe %s. Possibly coordinator conflict - quitting", path.c_str()));
                    terminate();
                    break;
                }
            }
            std::string inString;
            bool isComplete = false;
            unsigned long senderProcessID = 0;
            for (int count = 0; count < kMaxPipeMessagesPerRound; ++count) {
                if (!Pipes::readFromNamedPipe(inString, fNamedPipeHandle, isComplete, 10, &senderProcessID) ||
                    !isComplete)
                    break;
                LOG_NOTE(Utils::stringWithFormat("%s: readComplete = %d, inString %s", path.c_str(), isComplete ? 1 : 0,
                                                 inString.c_str()));
                reportMessagingActivityInEventLoop();
                // Messages that arrive during termination are not taken in.
                if (fIsTerminating) continue;
                if (!receiveMessageStr(inString, getCoordinatorNameOfProcess(senderProcessID)))
                    LOG_CHECK_FAILED("SANITY_CHECK", "receiveMessageStr(str)");
            }
            if (fIsTerminating && Pipes::isAllReadPipesIdle() && Pipes::namedPipeExists(path)) {
                LOG_NOTE(Utils::stringWithFormat("busy terminating. Destroy input named pipe %s", path.c_str()));
                SANITY_CHECK(destroyNamedPipe());
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::destroyNamedPipe()
{
    bool retVal = false;
    try {
        do {
            if (fNamedPipeHandle != 0) {
                Pipes::closeNamedPipe(fNamedPipeHandle);
                fNamedPipeHandle = 0;
            }
            const std::string path = getNamedPipePath();
            if (Pipes::namedPipeExists(path)) {
                SANITY_CHECK(Pipes::deleteNamedPipe(path));
            } else {
                // A socket file may stay behind a killed process without its marker.
                std::error_code ignored;
                std::filesystem::remove(Pipes::getRawNamedPipePath(path), ignored);
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string InternalCoordinator::getCoordinatorNameOfProcess(unsigned long processId)
{
    std::string retVal;
    try {
        do {
            if (processId == 0) break;
            auto& names = namesByProcess();
            auto known = names.find(processId);
            if (known != names.end()) {
                retVal = known->second;
                break;
            }
            if (names.size() >= kMaxRememberedProcesses) names.clear();
            const std::string folder = getSessionDataFolderPath();
            for (const std::string& fileName : Dirs::scanDir(folder)) {
                if (fileName.size() <= kPidFileExtension.size() ||
                    fileName.compare(fileName.size() - kPidFileExtension.size(), kPidFileExtension.size(),
                                     kPidFileExtension) != 0)
                    continue;
                const int64_t pid = Utils::toOMInt(Utils::trim(Dirs::slurpFile(folder + fileName)));
                if (pid <= 0 || static_cast<unsigned long>(pid) != processId) continue;
                retVal = fileName.substr(0, fileName.size() - kPidFileExtension.size());
                names[processId] = retVal;
                break;
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

const std::vector<std::string>& InternalCoordinator::getResolvedEntryListFromConfigStack(
    const std::string& section, const std::string& key, const std::string& defaultValue)
{
    static const std::vector<std::string> empty;
    static std::vector<std::string> fallback;
    try {
        for (auto ini = fConfigStack.rbegin(); ini != fConfigStack.rend(); ++ini) {
            const std::vector<std::string> keys = (*ini)->getEntryNames(section);
            if (std::find(keys.begin(), keys.end(), key) != keys.end())
                return (*ini)->getResolvedEntryList(section, key);
        }
        if (defaultValue.empty()) return empty;
        fallback.assign(1, defaultValue);
        return fallback;
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return empty;
}

std::vector<std::string> InternalCoordinator::getSiblingsFromConfig()
{
    std::vector<std::string> retVal;
    try {
        for (const std::shared_ptr<Ini>& ini : fConfigStack)
            for (const std::string& key : ini->getEntryNames(kSiblingsSection)) {
                const std::string name = fullCoordinatorName(key);
                if (std::find(retVal.begin(), retVal.end(), name) == retVal.end()) retVal.push_back(name);
            }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

const std::vector<std::string>& InternalCoordinator::getLaunchArgs(const std::string& coordinatorName)
{
    const std::vector<std::string>& byFullName =
        getResolvedEntryListFromConfigStack(kSiblingsSection, coordinatorName, "");
    if (!byFullName.empty()) return byFullName;
    return getResolvedEntryListFromConfigStack(kSiblingsSection, shortCoordinatorName(coordinatorName), "");
}

}  // namespace Qfn
