#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "QfnParser/model/AccessType.h"
#include "QfnService/Service_abstract.h"
#include "QfnUtils/Version.h"

namespace Qfn {

class Task;
class OMScope;
class OMStored;
class IOMNode;
class Ini;
class InputStream;
class OutputStream;

using GatewaySendMethod = void (*)(const std::string& host, const std::string& message);

// The one coordinator of the process: its settings (class-wide, readable before it exists), the
// event loop that paces the coordinator thread, the main round, and termination.
class InternalCoordinator : public Service_abstract {
public:
    static const std::string TYPENAME;
    const std::string& typeName() const override { return TYPENAME; }

    static std::shared_ptr<IObject> factory();
    static void deleter(InternalCoordinator* internalCoordinator);
    static bool registerDeregisterClass(RegisterDeregister registerDeregister);
    // Lets go of the singleton: its deleter runs, and factory() makes no new one afterwards.
    static void releaseSingleton();
    // What main lets go of at its end, in its order: for a process that ends without main's tear-down.
    static void releaseAtExit();

    // Start-up.
    static bool init(int argc, char** argv);
    static bool defaultConfig();
    static bool parseCommandLineArgs(int argc, char** argv);
    static bool processCmdLineArg(int switchChar, std::vector<std::string>& switchArgs);
    static void setRunTestsFromAnswer(const std::string& answer);
    static bool registerObjectClasses();
    static bool deregisterObjectClasses();
    static bool registerTests();
    static bool deregisterTests();
    static bool startMainTask();
    static bool readNodeName();
    static bool runStartupScript();
    static bool startConsole();
    // The read-evaluate loop over the stream, prompted or not.
    static bool startConsoleTask(std::shared_ptr<InputStream> stream, bool isPrompted);
    // Host names and their addresses in both directions; the names that mean this machine.
    static bool registerHostName(const std::string& hostName, const std::string& ipAddress);
    static bool registerLocalHostName(const std::string& hostName);
    static bool isLocalHost(const std::string& hostName);
    static const std::string& getHostAddress(const std::string& hostName);
    // The alias tables of the configuration's urlMap and coordinatorMap sections: a name that is
    // no alias comes back unchanged.
    static bool registerUrlAlias(const std::string& alias, const std::string& url);
    static std::string resolveUrlAlias(const std::string& url);
    static bool registerCoordinatorAlias(const std::string& alias, const std::string& coordinatorName);
    static const std::string& resolveCoordinatorAlias(const std::string& coordinatorName);
    static void clearHostNamesAndAliases();
    // The host and the name of another coordinator, stored under its GUID when it sends to this one.
    static bool registerSenderCoordinator(GUIDClass* coordinatorGUID, const std::string& hostName,
                                          const std::string& coordinatorName);
    // A coordinator of this host that this one can reach by name.
    static bool isKnownSiblingCoordinator(const std::string& coordinatorName);
    // "." and the node name from the environment, or empty: picks the per-node variants of ini entries.
    static const std::string& getQuillfernNodeIniSuffix();
    static void setQuillfernNodeIniSuffix(const std::string& suffix);
    // The root scope of the coordinator's own scripts, made on first use.
    static std::shared_ptr<OMScope> getCoordinatorScope();
    static void releaseCoordinatorScope();
    // What all code calls for a new scope; a service may install its own creator.
    static std::shared_ptr<OMScope> scopeFactory();
    static std::shared_ptr<OMScope> scopeFactory(const std::shared_ptr<OMScope>& parent,
                                                 ScopeRelationType parentScopeRelationType);
    static void setScopeFactory(ScopeFactoryFunction scopeFactoryFunction);

    // The event loop family.
    static bool runEventLoop(int64_t timesliceMicroseconds);
    static bool runEventLoopUntilNoMoreSubTasks(int64_t timesliceMicroseconds);
    static bool runEventLoop(int64_t timesliceMicroseconds, const std::function<bool()>& stopTest);
    static int64_t getEventLoopSleepMicrosecondsForMainTask();
    // The adaptive sleep's rule at a given reading of the clock.
    static int64_t adaptiveSleepMicroseconds(int64_t now);
    static bool attachSleepLockFromQuillfernThread();
    static bool releaseSleepLockFromQuillfernThread();
    static std::mutex& getSleepQuillfernMutex();
    // Ends the event loop's sleep at once; any thread may call it after handing work over.
    static void wakeEventLoop();
    // What reads in, on the coordinator thread, the lines that the gateway's sockets received.
    using GatewayInputMethod = bool (*)();
    static void setGatewayInputMethod(GatewayInputMethod method);
    // Serves the coordinator thread's first hold of the sleep mutex, taken before the loop starts.
    static void noteSleepLockHeldByThisThread();

    // What the process ends with: 2 after a command-line mistake, 1 when a script run had a
    // statement that did not parse or could not read its script, else 0. The worst one stays.
    static int getExitStatus() { return fExitStatus; }
    static void setExitStatus(int status)
    {
        if (status > fExitStatus) fExitStatus = status;
    }
    static bool isTerminatingAndIdle();
    static bool isTerminating();
    static bool isShuttingDown() { return fIsShuttingDown; }
    static bool isStarted() { return fIsStarted; }
    static bool setCanTerminate(bool value);
    static bool getIsEmbedded() { return fIsEmbedded; }
    static bool setIsEmbedded(bool value);
    static bool setName(const std::string& name);
    static const std::string& getName() { return fCoordinatorName; }
    static bool isMainCoordinator();
    static const std::shared_ptr<Task>& getMainTask();

    // The configuration stack: config.ini, then the -c file on top of it.
    static bool processConfigStack();
    static bool registerConfigHostsAndAliases();
    static bool readConfigCoordinatorName();
    static bool readConfigSettings();
    static bool setConfigPlaceholders(const std::shared_ptr<Ini>& ini);
    static bool pushConfigFile(const std::string& iniFilePath);
    static std::string getEntryFromConfigStack(const std::string& section, const std::string& key,
                                               const std::string& defaultValue);
    // The entry as a list, placeholders resolved, from the newest file of the stack that has it;
    // defaultValue as a list of one (or an empty list) when none has.
    static const std::vector<std::string>& getResolvedEntryListFromConfigStack(const std::string& section,
                                                                               const std::string& key,
                                                                               const std::string& defaultValue);
    // The coordinators the "siblings" section names (full names), and the launch line of one.
    static std::vector<std::string> getSiblingsFromConfig();
    static const std::vector<std::string>& getLaunchArgs(const std::string& coordinatorName);
    // One map per file of the stack: its sections with their entries.
    static std::shared_ptr<OMStored> getConfigStackData();
    static const std::vector<std::shared_ptr<Ini>>& getConfigStack() { return fConfigStack; }
    static void clearConfigStack();
    static const std::string& getSysConfigFolderPath();
    static const std::string& getSysConfigIniPath();
    static bool setDefaultEngine(const std::string& defaultEngine);
    static const std::string& getIpcMessageLogFile() { return fIpcMessageLogFile; }
    static int64_t getScanActiveSiblingsIntervalMicroseconds()
    {
        return fScanActiveSiblingsIntervalMicroseconds;
    }
    static int64_t getScanConfigSiblingsIntervalMicroseconds()
    {
        return fScanConfigSiblingsIntervalMicroseconds;
    }
    static int64_t getScanNamedPipeSiblingsIntervalMicroseconds()
    {
        return fScanNamedPipeSiblingsIntervalMicroseconds;
    }

    // The map sysInfo() gives scripts: settings, folders, build and platform.
    static std::shared_ptr<OMStored> buildSysInfo();
    // The coordinator's folders under the user data folder, each made on first use.
    static const std::string& getPipeFolderPath();
    static const std::string& getSessionDataFolderPath();
    static std::string getSessionDataPath();

    // The functions that answer data requests, by callBack ID.
    struct DataRequestCallBack {
        std::shared_ptr<OMScope> fScope;
        std::shared_ptr<OMStored> fCallBackFunction;
        std::string fName;
    };
    static bool setDataRequestCallBack(const std::shared_ptr<OMScope>& scope, const std::string& callBackID,
                                       const std::shared_ptr<OMStored>& callBackFunction,
                                       const std::string& name);
    static const DataRequestCallBack* getDataRequestCallBack(const std::string& callBackID);
    static void clearDataRequestCallBacks();

    // Settings.
    static int64_t getEventLoopMicroseconds() { return fEventLoopMicroseconds; }
    static int64_t getEventLoopSleepMicroseconds() { return fEventLoopSleepMicroseconds; }
    static int64_t getInternalCoordinatorTimesliceMicroseconds()
    {
        return fInternalCoordinatorTimesliceMicroseconds;
    }
    static int64_t getDelayQuitMicroseconds() { return fDelayQuitMicroseconds; }
    static int64_t getDefaultTimeoutMicroseconds() { return fDefaultTimeoutMicroseconds; }
    static int64_t getRemoteTimeoutMicroseconds() { return fRemoteTimeoutMicroseconds; }
    // The TCP port a gateway listens on and connects to; how long a connection may stay unused.
    static const std::string& getGatewayPort() { return fGatewayPort; }
    static int64_t getGatewayIdleMicroseconds() { return fGatewayIdleMicroseconds; }
    static int64_t getInterCoordinatorPipeWaitTimeMicroseconds()
    {
        return fInterCoordinatorPipeWaitTimeMicroseconds;
    }
    static int64_t getInterCoordinatorTestTimeMicroseconds() { return fInterCoordinatorTestTimeMicroseconds; }
    static int64_t getMaxWaitMessageDropMicroseconds() { return fMaxWaitMessageDropMicroseconds; }
    static int64_t getMaxWaitPipeReappearMicroseconds() { return fMaxWaitPipeReappearMicroseconds; }
    static int64_t getSleepWaitForPipeMicroseconds() { return fSleepWaitForPipeMicroseconds; }
    static int64_t getSleepStalledPipeMicroseconds() { return fSleepStalledPipeMicroseconds; }
    static int64_t getKillStalledPipeMicroseconds() { return fKillStalledPipeMicroseconds; }
    static int64_t getTestTimeoutMicroseconds() { return fTestTimeoutMicroseconds; }
    static int64_t getQuitReflectorEventLoopForTestsMicroseconds()
    {
        return fQuitReflectorEventLoopForTestsMicroseconds;
    }
    static const std::string& getDefaultEngine() { return fDefaultEngine; }
    static const std::string& getRemoteCoordinatorURL() { return fRemoteCoordinatorURL; }
    static int64_t getConsoleEcho() { return fConsoleEcho; }
    // The prompt at nest level 0, the continuation prompt at any other.
    static const std::string& getPrompt(int level) { return level == 0 ? fPrompt : fPromptContinuation; }
    // The process's default streams: standard input when asked for, else the script file, else the console.
    static std::shared_ptr<InputStream> inputStreamFactory();
    // The keyboard: the line editor at a terminal when the console echoes, else the plain console.
    static std::shared_ptr<InputStream> consoleStreamFactory();
    static std::shared_ptr<OutputStream> outputStreamFactory();
    static bool getIsServer() { return fIsServer; }
    static bool getIsInteractive() { return fIsInteractive; }
    static bool getReadStdIn() { return fReadStdIn; }
    static bool getIsRunTests() { return fIsRunTests; }
    static bool getIsReportSessionData() { return fIsReportSessionData; }
    static bool setIsReportSessionData(bool value);
    static bool getIsIgnoreInterrupt() { return fIsIgnoreInterrupt; }
    static const std::string& getScriptFilePath() { return fScriptFilePath; }
    static const std::vector<std::string>& getLaunchArgs() { return fLaunchArgs; }
    static void setEventLoopSleepMicroseconds(int64_t value) { fEventLoopSleepMicroseconds = value; }
    static void setInternalCoordinatorTimesliceMicroseconds(int64_t value)
    {
        fInternalCoordinatorTimesliceMicroseconds = value;
    }
    static void setDefaultTimeoutMicroseconds(int64_t value) { fDefaultTimeoutMicroseconds = value; }

    // Instance operations of the main round and of termination.
    bool terminate();
    bool isIdle() const override;
    bool isHoldingSiblingResponsesForTermination() const;
    bool reportMessagingActivityInEventLoop();
    bool handleMessagingTimeslice();
    static bool isTimedOut(int64_t endTime);
    void timeslice_yielding(const std::shared_ptr<Task>& task, bool& completed) override;
    bool setGatewaySendMethod(GatewaySendMethod sendMethod);
    bool deregisterObject() override;

    // Addresses: the local object an address leads to (the coordinator, a service), and what the
    // tables know of the coordinator behind a GUID. Unknown gives empty or null, without a line.
    std::shared_ptr<const IObject> resolveAddress(std::shared_ptr<const IObject> addressObj);
    bool isValidUpstreamCoordinatorGUID(GUIDClass* coordinatorGUID) const;
    GUIDClass* getUpstreamCoordinatorGUID(const std::string& hostName,
                                          const std::string& coordinatorName) const;
    const std::string& getHostName(GUIDClass* coordinatorGUID) const;
    const std::string& getCoordinatorName(GUIDClass* coordinatorGUID) const;
    // A resolved address of the coordinator (or local object) behind the GUID.
    std::shared_ptr<const IObject> getAddressFromGUID(GUIDClass* coordinatorGUID) const;

    // The coordinator as a service: the root of the service tree.
    static const std::string SERVICE_NAME;
    const std::string& getServiceName() const override { return SERVICE_NAME; }
    bool isCoordinator() const override { return true; }

    // Routing. Messages wait on one queue; each round routes them to a service here, to the proxy
    // of a sibling coordinator, to the gateway's send method, or nowhere.
    bool queueMessage(std::shared_ptr<const IObject> messageObj);
    bool processMessageQueues();
    bool relayMessage(std::shared_ptr<const IObject> messageObj);
    // TERMINATE ends the process; STD_OUT and STD_ERR print their text.
    bool receiveMessage(std::shared_ptr<const IObject> messageObj) override;
    // A message read from the named pipe, and one read from a gateway socket, whose addresses are
    // turned round to this side.
    bool receiveMessageStr(const std::string& ipcMessageStr,
                           const std::string& senderCoordinatorName = std::string());
    bool receiveGatewayMessageStr(const std::string& remoteIPAddress, const std::string& messageStr);
    // Learns the host, and the coordinator name when one is given, behind a sender's upstream GUID.
    bool registerSenderAddressObj(std::shared_ptr<const IObject> senderAddressObj,
                                  const std::string& coordinatorName = std::string());
    // A gateway connection that went away: the coordinators that wrote over it are forgotten.
    static void forgetSenderHost(const std::string& hostName);
    size_t getMessageQueueSize() const { return fMessageQueue.size(); }
    // Sends a script's stdOut/stdErr text to its console: the requester of the script's request,
    // else this coordinator.
    bool sendConsoleText(const std::shared_ptr<Task>& task, bool isStdErr,
                         const std::shared_ptr<IOMNode>& value);
    // Serves a DATA_REQUEST: the task that answers it, or null (with a note) when none can.
    std::shared_ptr<Task> handleDataRequest(const std::shared_ptr<const IObject>& senderAddressObj,
                                            const std::string& callBackID, const std::string& data,
                                            int64_t clientSequenceNr, int64_t serviceSequenceNr,
                                            GUIDClass* senderGUID, GUIDClass* upstreamCoordinatorGUID,
                                            const std::shared_ptr<OMScope>& scope);
    // The services of the coordinator, let go by main after the coordinator, in this order.
    static void releaseServiceSingletons();

    // The coordinator's own read pipe: opened on the first round, read every round, destroyed once
    // idle when terminating.
    bool monitorNamedPipe();
    bool destroyNamedPipe();
    // The coordinator name a process publishes in its pid file; empty when none does.
    static std::string getCoordinatorNameOfProcess(unsigned long processId);
    // The files that tell other processes this coordinator is alive: its pid file and its session
    // data (the sysInfo map), in the session data folder.
    bool destroySessionData();
    bool writeSessionData();
    bool publishMyPid();
    bool verifyMyPublishedPid();
    bool restoreMyPid();
    // The pid published under a name when that process still runs, else 0.
    static unsigned long getPublishedPid(const std::string& coordinatorName);
    bool deregisterPendingTasks();
    std::string getNamedPipePath() const;

    uint64_t getTimesliceCount() const { return fTimesliceCount; }
    uint64_t getTimesliceRoundsCompleted() const { return fTimesliceRoundsCompleted; }
    uint32_t getEventLoopRounds() const { return fEventLoopRounds; }
    bool getInRoundBody() const { return fInRoundBody; }
    // Ends the process once the console's script has ended, unless it serves on (-s).
    bool checkConsoleCompletion();

    static constexpr const char* kVersion = Version::kText;
    static constexpr int kBuildNumber = Version::kBuild;

private:
    InternalCoordinator() = default;
    // Makes the standard services and attaches them.
    bool createServices();
    // Where a message for a resolved address goes when it is not this process: a sibling's name,
    // or empty.
    std::string getForwardToCoordinatorName(
        const std::shared_ptr<const IObject>& resolvedReceiverAddress) const;
    bool fireMessageEvent(const char* eventName, const std::shared_ptr<const IObject>& messageObj);

    // Members of the singleton.
    std::shared_ptr<Task> fMainTask;
    std::shared_ptr<Task> fConsoleTask;
    bool fIsConsoleTaskInteractive = false;
    bool fInRoundBody = false;
    bool fIsInitDone = false;
    int fIsProcessingMessageQueue = 0;
    std::vector<std::shared_ptr<const IObject>> fMessageQueue;
    // The messages of the walk under way; kept to reuse its storage.
    std::vector<std::shared_ptr<const IObject>> fRoutingMessages;
    uint64_t fTimesliceCount = 0;
    uint64_t fTimesliceRoundsCompleted = 0;
    uint32_t fEventLoopRounds = 0;
    int32_t fMessagingActivity = 0;
    GatewaySendMethod fGatewaySendMethod = nullptr;
    int fNamedPipeHandle = 0;
    // The path of the read pipe while it is open.
    std::string fOwnNamedPipePath;

    // Class-wide state.
    static std::shared_ptr<IObject> fSingleton;
    static std::shared_ptr<OMScope> fCoordinatorScope;
    static bool fSingletonReleased;
    static bool fIsStarted;
    static bool fIsTerminating;
    static bool fIsShuttingDown;
    static int fExitStatus;
    static bool fCanTerminate;
    static bool fIsEmbedded;
    static bool fQuillfernThreadIdIsSet;
    static std::thread::id fQuillfernThreadId;
    static bool fIsSleepLockHeld;
    static int fIsMainCoordinator;

    static uint64_t fSleepActivityMark;
    static bool fSleepFresh;
    static int64_t fSleepDeadlineShort;
    static int64_t fSleepDeadlineMedium;
    static int64_t fSleepDeadlineLong;

    static std::string fCoordinatorName;
    static std::string fCoordinatorShortName;
    static bool fIsPidPublished;
    static int64_t fVerifiedPidFileTime;
    static std::string fPidFilePath;
    static std::set<std::string> fLocalHostNames;
    static std::map<std::string, std::set<std::string>> fHostsByName;
    static std::map<std::string, std::set<std::string>> fNamesByHost;
    static std::map<std::string, std::string> fUrlAliases;
    static std::map<GUIDClass*, std::string> fSenderHostNames;
    static std::map<GUIDClass*, std::string> fSenderCoordinatorNames;
    static std::unordered_map<uint64_t, std::string> fCoordinatorAliases;
    static std::string fScriptFilePath;
    static std::string fStartupScriptFilePath;
    static std::string fPrompt;
    static std::string fPromptContinuation;
    static std::string fDataRequestData;
    static std::string fCallBackID;
    static std::string fRemoteCoordinatorURL;
    static std::vector<std::string> fLaunchArgs;
    static bool fIsServer;
    static bool fIsInteractive;
    static bool fReadStdIn;
    static bool fIsRunTests;
    static bool fIsReportSessionData;
    static bool fIsIgnoreInterrupt;
    static int64_t fConsoleEcho;
    static int64_t fDelayQuitMicroseconds;
    static int64_t fEventLoopMicroseconds;
    static int64_t fEventLoopSleepMicroseconds;
    static int64_t fInternalCoordinatorTimesliceMicroseconds;
    static int64_t fDefaultTimeoutMicroseconds;
    static int64_t fRemoteTimeoutMicroseconds;
    static std::string fGatewayPort;
    static int64_t fGatewayIdleMicroseconds;
    static int64_t fInterCoordinatorPipeWaitTimeMicroseconds;
    static int64_t fInterCoordinatorTestTimeMicroseconds;
    static int64_t fMaxWaitMessageDropMicroseconds;
    static int64_t fMaxWaitPipeReappearMicroseconds;
    static int64_t fSleepWaitForPipeMicroseconds;
    static int64_t fSleepStalledPipeMicroseconds;
    static int64_t fKillStalledPipeMicroseconds;
    static int64_t fTestTimeoutMicroseconds;
    static int64_t fQuitReflectorEventLoopForTestsMicroseconds;
    static std::string fDefaultEngine;
    static std::string fIpcMessageLogFile;
    static std::string fSysConfigFolderPath;
    static std::string fSysConfigIniPath;
    static std::vector<std::shared_ptr<Ini>> fConfigStack;
    static int64_t fScanActiveSiblingsIntervalMicroseconds;
    static int64_t fScanConfigSiblingsIntervalMicroseconds;
    static int64_t fScanNamedPipeSiblingsIntervalMicroseconds;
    static std::string fPipeFolderPath;
    static std::string fSessionDataFolderPath;
    static std::map<std::string, DataRequestCallBack> fDataRequestCallBacks;
};

}  // namespace Qfn
