#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

struct sockaddr_un;

namespace Qfn {

// The handle of no socket.
inline constexpr int NO_RAW_PIPE_HANDLE = -1;

// Every system call of the named pipes: Unix-domain sockets of type SOCK_SEQPACKET, which keep the
// bounds of each packet. Nothing here blocks, every descriptor is close-on-exec, and an operation
// that fails gives its errno in error.
class PipeSocket {
public:
    PipeSocket() = delete;

    enum class Result {
        Done,        // the operation went through
        WouldBlock,  // nothing now: try again later
        Closed,      // the other end has gone
        Failed       // error holds errno
    };

    // $XDG_RUNTIME_DIR (else /tmp) and qfn-<uid>/: the folder of the sockets, with a trailing '/'.
    static std::string getSocketFolderPath();
    static uint32_t getOwnProcessID();

    // A listening socket at that path in a folder only this user can enter (made when missing); a
    // stale socket file is removed first. NO_RAW_PIPE_HANDLE when it cannot be made.
    static int listen(const std::string& socketPath, int& error);
    // A connection waiting on the listening socket, as handle.
    static Result accept(int listenHandle, int& handle, int& error);
    // A connection to the listening socket at that path, as handle.
    static Result connect(const std::string& socketPath, int& handle, int& error);
    // The next packet's size, without taking it; up to capacity of it is copied into buffer.
    static Result peek(int handle, void* buffer, size_t capacity, size_t& packetSize, int& error);
    // The next packet, taken whole (a packet longer than capacity loses the rest).
    static Result receive(int handle, void* buffer, size_t capacity, size_t& received, int& error);
    // One packet, taken whole by the socket or not at all.
    static Result send(int handle, const void* data, size_t size, int& error);
    // Whether a packet, a connection or the other end's close waits on the socket.
    static bool hasInput(int handle);
    static bool close(int handle);
    // Removes the socket file (never a file of another kind); true also when there was none.
    static bool removeSocketFile(const std::string& socketPath);

private:
    // The folder exists, is no link, belongs to this user and is closed to others.
    static bool makePrivateFolder(const std::string& folderPath, int& error);
    static bool fillAddress(const std::string& socketPath, struct sockaddr_un& address, int& error);
    static Result resultOfError(int& error);
    static Result receivePacket(int handle, void* buffer, size_t capacity, int flags, size_t& size,
                                int& error);
};

}  // namespace Qfn
