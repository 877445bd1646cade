#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "QuillfernGW/LineSplitter.h"

struct addrinfo;
struct sockaddr;

namespace Qfn {

// One TCP connection of the gateway, keyed by the peer's address and port ("198.18.0.2:40112",
// "[::1]:40112"), or, for one this gateway opened, by the host name it was opened for. A read thread
// cuts what arrives into lines and hands each to the message handler; a write thread sends what is
// written, in order, and for an outgoing connection first connects, so that nothing on the
// coordinator thread waits on the network. Threads only move bytes: every decision is the
// coordinator thread's.
class SocketEntry : public std::enable_shared_from_this<SocketEntry> {
public:
    // A line received, unescaped, with the key of its connection.
    struct Input {
        std::string key;
        std::string line;
    };

    // An accepted connection; it replaces an older entry of the same key.
    static std::shared_ptr<SocketEntry> fromSocket(const std::string& key, int socket);
    // The connection of that key, else a new outgoing one to hostName at the gateway port.
    static std::shared_ptr<SocketEntry> factory(const std::string& hostName);
    // Queues a line (ended by its carriage return) for the connection of that key or host.
    static void sendToHost(const std::string& hostName, const std::string& line);
    // The lines received since the last call, in order per connection; for the coordinator thread.
    static void takeInput(std::vector<Input>& input);
    // Whether received lines are handed over at all (the listener turns it on, termination off).
    static void setIsTakingInput(bool value);
    // Each entry has its write thread from the start; there is nothing left to start.
    static bool startPendingWriteThreads() { return true; }
    // Removes the entries that failed, or saw no traffic either way for the idle time; calls
    // forget with the key of each, so that the coordinator's tables let go of them too.
    static bool sweep(void (*forget)(const std::string& key));
    // At termination: input is no longer handed over, what is queued is sent for at most the time
    // given, then every connection is shut and every thread joined.
    static void closeAll(std::chrono::milliseconds flushTime);
    static size_t getEntryCount();
    // A text form of the peer's address and port, the key of its entry.
    static std::string keyOf(const struct sockaddr* address);

    void write(const std::string& line);
    const std::string& getKey() const { return fKey; }
    bool isAbandoned() const { return fAbandoned; }
    ~SocketEntry();

private:
    SocketEntry(std::string key, std::string hostName, int socket);
    void start();
    void readLoop();
    void writeLoop();
    bool connectOutgoing();
    bool connectWithin(int socket, const struct addrinfo* address);
    bool sendAll(const std::string& text);
    void abandon();
    // Shuts the socket and joins both threads; never called from one of them.
    void close();

    const std::string fKey;
    const std::string fHostName;
    std::atomic<int> fSocket;
    std::atomic<bool> fAbandoned{false};
    std::atomic<int64_t> fLastActivity;
    std::thread fReadThread;
    std::thread fWriteThread;
    std::mutex fWriteMutex;
    std::condition_variable fWriteCondition;
    std::deque<std::string> fOutgoing;
    size_t fOutgoingBytes = 0;
    bool fIsWriting = false;
    bool fStopWriting = false;
    LineSplitter fSplitter;
};

}  // namespace Qfn
