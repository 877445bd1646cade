// Host names, the names that mean this machine, the alias tables filled from configuration, and
// what is known of the other coordinators by their GUIDs.
#include "QfnAddress/LocalResolvedAddress.h"
#include "QfnAddress/RemoteResolvedAddress.h"
#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnCoordinator/SiblingCoordinator.h"
#include "QfnLogger/Check.h"
#include "QfnLogger/Log.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

std::set<std::string> InternalCoordinator::fLocalHostNames;
std::map<std::string, std::set<std::string>> InternalCoordinator::fHostsByName;
std::map<std::string, std::set<std::string>> InternalCoordinator::fNamesByHost;
std::map<std::string, std::string> InternalCoordinator::fUrlAliases;
std::unordered_map<uint64_t, std::string> InternalCoordinator::fCoordinatorAliases;
std::map<GUIDClass*, std::string> InternalCoordinator::fSenderHostNames;
std::map<GUIDClass*, std::string> InternalCoordinator::fSenderCoordinatorNames;

namespace {

constexpr const char* kLoopback = "127.0.0.1";

// FNV-1a, 64 bits, of the lower-cased text: the key of the coordinator alias table.
uint64_t aliasKey(const std::string& text)
{
    uint64_t hash = 14695981039346656037ull;
    for (unsigned char c : Utils::toLowerCase(text)) {
        hash ^= c;
        hash *= 1099511628211ull;
    }
    return hash;
}

}  // namespace

bool InternalCoordinator::registerHostName(const std::string& hostName, const std::string& ipAddress)
{
    bool retVal = false;
    try {
        do {
            // clang-format off
            SANITY_CHECK(! ipAddress.empty());
            // clang-format on
            std::string host = Utils::toLowerCase(hostName);
            std::string address = Utils::toLowerCase(ipAddress);
            if (fLocalHostNames.count(address)) address = kLoopback;
            if (host == kLoopback || host == "localhost" || address == kLoopback || address == "localhost" ||
                fLocalHostNames.count(host)) {
                for (const std::string& name : {host, address}) {
                    if (fLocalHostNames.insert(name).second && Log::getLogLevel() >= 3)
                        LOG_NOTE(Utils::stringWithFormat("register as localHostName: %s", name.c_str()));
                }
            }
            // Both directions stay transitive: what is known for one side is known for the other.
            std::set<std::string>& addresses = fHostsByName[host];
            std::set<std::string>& names = fNamesByHost[address];
            addresses.insert(address);
            names.insert(host);
            addresses.insert(names.begin(), names.end());
            names.insert(addresses.begin(), addresses.end());
            if (Log::getLogLevel() >= 3)
                LOG_NOTE(Utils::stringWithFormat("register %s -> %s", host.c_str(), address.c_str()));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::registerLocalHostName(const std::string& hostName)
{
    return registerHostName(hostName, kLoopback);
}

bool InternalCoordinator::isLocalHost(const std::string& hostName)
{
    return fLocalHostNames.count(Utils::toLowerCase(hostName)) != 0;
}

const std::string& InternalCoordinator::getHostAddress(const std::string& hostName)
{
    static const std::string kNone;
    try {
        do {
            // clang-format off
            SANITY_CHECK(! hostName.empty());
            // clang-format on
            auto found = fHostsByName.find(Utils::toLowerCase(hostName));
            if (found == fHostsByName.end()) break;
            const std::set<std::string>& addressSet = found->second;
            auto iter = addressSet.begin();
            SANITY_CHECK(iter != addressSet.end());
            return *iter;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return kNone;
}

bool InternalCoordinator::registerUrlAlias(const std::string& alias, const std::string& url)
{
    fUrlAliases[alias] = url;
    return true;
}

std::string InternalCoordinator::resolveUrlAlias(const std::string& url)
{
    auto found = fUrlAliases.find(url);
    return found == fUrlAliases.end() ? url : found->second;
}

bool InternalCoordinator::registerCoordinatorAlias(const std::string& alias,
                                                   const std::string& coordinatorName)
{
    fCoordinatorAliases[aliasKey(alias)] = coordinatorName;
    return true;
}

const std::string& InternalCoordinator::resolveCoordinatorAlias(const std::string& coordinatorName)
{
    try {
        auto found = fCoordinatorAliases.find(aliasKey(coordinatorName));
        if (found != fCoordinatorAliases.end()) return found->second;
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return coordinatorName;
}

void InternalCoordinator::clearHostNamesAndAliases()
{
    fLocalHostNames.clear();
    fHostsByName.clear();
    fNamesByHost.clear();
    fUrlAliases.clear();
    fCoordinatorAliases.clear();
    fSenderHostNames.clear();
    fSenderCoordinatorNames.clear();
}

bool InternalCoordinator::registerSenderCoordinator(GUIDClass* coordinatorGUID, const std::string& hostName,
                                                    const std::string& coordinatorName)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(coordinatorGUID);
            if (!hostName.empty()) fSenderHostNames[coordinatorGUID] = hostName;
            if (!coordinatorName.empty()) fSenderCoordinatorNames[coordinatorGUID] = coordinatorName;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

namespace {

const std::string kNoName;

// Whether a sender's host (empty when it wrote from this host) and a host asked for are one host.
bool isSameHost(const std::string& senderHostName, const std::string& hostName)
{
    const bool isSenderHere = senderHostName.empty() || InternalCoordinator::isLocalHost(senderHostName);
    const bool isHere = hostName.empty() || InternalCoordinator::isLocalHost(hostName);
    if (isSenderHere || isHere) return isSenderHere == isHere;
    return Utils::toLowerCase(senderHostName) == Utils::toLowerCase(hostName);
}

}  // namespace

// Until the sibling scans exist, a sibling is known once it has sent from this host.
bool InternalCoordinator::isKnownSiblingCoordinator(const std::string& coordinatorName)
{
    bool retVal = false;
    try {
        // A proxy made by the scans or by traffic, or a launch line in the configuration; main looks
        // again at once for a name it does not know yet (a sibling that has just started).
        if (SiblingCoordinator::isKnownSibling(coordinatorName) || !getLaunchArgs(coordinatorName).empty())
            return true;
        if (isMainCoordinator() && SiblingCoordinator::isValidSiblingName(coordinatorName) &&
            SiblingCoordinator::scanForSiblings() && SiblingCoordinator::isKnownSibling(coordinatorName))
            return true;
        for (const auto& [guid, name] : fSenderCoordinatorNames) {
            auto host = fSenderHostNames.find(guid);
            if (name == coordinatorName &&
                isSameHost(host == fSenderHostNames.end() ? kNoName : host->second, "")) {
                retVal = true;
                break;
            }
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::isValidUpstreamCoordinatorGUID(GUIDClass* coordinatorGUID) const
{
    return coordinatorGUID &&
           (coordinatorGUID == createGUID() || fSenderCoordinatorNames.count(coordinatorGUID) != 0 ||
            fSenderHostNames.count(coordinatorGUID) != 0);
}

GUIDClass* InternalCoordinator::getUpstreamCoordinatorGUID(const std::string& hostName,
                                                           const std::string& coordinatorName) const
{
    GUIDClass* retVal = nullptr;
    try {
        do {
            const std::string& name = resolveCoordinatorAlias(coordinatorName);
            if (name == fCoordinatorName && (hostName.empty() || isLocalHost(hostName))) {
                retVal = createGUID();
                break;
            }
            for (const auto& [guid, senderName] : fSenderCoordinatorNames) {
                if (senderName != name) continue;
                if (isSameHost(getHostName(guid), hostName)) {
                    retVal = guid;
                    break;
                }
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

const std::string& InternalCoordinator::getHostName(GUIDClass* coordinatorGUID) const
{
    try {
        auto found = fSenderHostNames.find(coordinatorGUID);
        if (found != fSenderHostNames.end()) return found->second;
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return kNoName;
}

const std::string& InternalCoordinator::getCoordinatorName(GUIDClass* coordinatorGUID) const
{
    try {
        if (coordinatorGUID && coordinatorGUID == createGUID()) return fCoordinatorName;
        auto found = fSenderCoordinatorNames.find(coordinatorGUID);
        if (found != fSenderCoordinatorNames.end()) return found->second;
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return kNoName;
}

std::shared_ptr<const IObject> InternalCoordinator::getAddressFromGUID(GUIDClass* coordinatorGUID) const
{
    std::shared_ptr<const IObject> retVal;
    try {
        do {
            SANITY_CHECK(coordinatorGUID);
            GUIDClass* internalCoordinatorGUID = nullptr;
            ASSIGN(internalCoordinatorGUID, createGUID());
            if (coordinatorGUID == internalCoordinatorGUID || Object::getRegisteredObject(coordinatorGUID)) {
                retVal = LocalResolvedAddress::factoryFromGUIDs(coordinatorGUID, internalCoordinatorGUID);
                break;
            }
            if (!isValidUpstreamCoordinatorGUID(coordinatorGUID)) break;
            if (isSameHost(getHostName(coordinatorGUID), ""))
                retVal = LocalResolvedAddress::factoryFromGUIDs(coordinatorGUID, coordinatorGUID);
            else
                retVal = RemoteResolvedAddress::factoryFromGUIDs(coordinatorGUID, coordinatorGUID);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
