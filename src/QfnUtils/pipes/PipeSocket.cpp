#include "QfnUtils/pipes/PipeSocket.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "QfnLogger/Check.h"
#include "QfnUtils/Dirs.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

// Connections not accepted yet that a listening socket holds.
constexpr int kListenBacklog = 64;

}  // namespace

std::string PipeSocket::getSocketFolderPath()
{
    std::string retVal;
    try {
        do {
            const char* runtimeDir = std::getenv("XDG_RUNTIME_DIR");
            const std::string base = runtimeDir && *runtimeDir ? runtimeDir : "/tmp";
            retVal = Dirs::addTrailingSeparator(base) + "qfn-" + std::to_string(::getuid()) + "/";
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

uint32_t PipeSocket::getOwnProcessID()
{
    return static_cast<uint32_t>(::getpid());
}

bool PipeSocket::makePrivateFolder(const std::string& folderPath, int& error)
{
    bool retVal = false;
    try {
        do {
            const std::string path = Dirs::removeTrailingSeparator(folderPath);
            if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
                error = errno;
                break;
            }
            // Someone else's folder (in a shared /tmp) could hand our connections to another program.
            struct stat info {};
            if (::lstat(path.c_str(), &info) != 0) {
                error = errno;
                break;
            }
            if (!S_ISDIR(info.st_mode) || info.st_uid != ::getuid() || (info.st_mode & 077) != 0) {
                error = EACCES;
                break;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool PipeSocket::fillAddress(const std::string& socketPath, struct sockaddr_un& address, int& error)
{
    std::memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    if (socketPath.empty() || socketPath.size() >= sizeof address.sun_path) {
        error = ENAMETOOLONG;
        return false;
    }
    std::memcpy(address.sun_path, socketPath.c_str(), socketPath.size() + 1);
    return true;
}

PipeSocket::Result PipeSocket::resultOfError(int& error)
{
    error = errno;
    if (error == EAGAIN || error == EWOULDBLOCK || error == EINTR) return Result::WouldBlock;
    if (error == EPIPE || error == ECONNRESET || error == ENOTCONN) return Result::Closed;
    return Result::Failed;
}

int PipeSocket::listen(const std::string& socketPath, int& error)
{
    int retVal = NO_RAW_PIPE_HANDLE;
    int handle = NO_RAW_PIPE_HANDLE;
    try {
        do {
            struct sockaddr_un address {};
            if (!fillAddress(socketPath, address, error)) break;
            if (!makePrivateFolder(Dirs::getParentPath(socketPath), error)) break;
            struct stat info {};
            if (::lstat(socketPath.c_str(), &info) == 0) {
                // Only a socket is stale; any other file there is not ours to remove.
                if (!S_ISSOCK(info.st_mode)) {
                    error = EEXIST;
                    break;
                }
                if (::unlink(socketPath.c_str()) != 0) {
                    error = errno;
                    break;
                }
            }
            handle = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
            if (handle < 0 ||
                ::bind(handle, reinterpret_cast<struct sockaddr*>(&address), sizeof address) != 0 ||
                ::listen(handle, kListenBacklog) != 0) {
                error = errno;
                break;
            }
            retVal = handle;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    if (retVal == NO_RAW_PIPE_HANDLE && handle >= 0) ::close(handle);
    return retVal;
}

PipeSocket::Result PipeSocket::accept(int listenHandle, int& handle, int& error)
{
    Result retVal = Result::Failed;
    try {
        do {
            handle = ::accept4(listenHandle, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
            if (handle < 0) {
                handle = NO_RAW_PIPE_HANDLE;
                retVal = resultOfError(error);
                break;
            }
            retVal = Result::Done;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

PipeSocket::Result PipeSocket::connect(const std::string& socketPath, int& handle, int& error)
{
    Result retVal = Result::Failed;
    handle = NO_RAW_PIPE_HANDLE;
    try {
        do {
            struct sockaddr_un address {};
            if (!fillAddress(socketPath, address, error)) break;
            const int made = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
            if (made < 0) {
                error = errno;
                break;
            }
            // A local connect completes at once or not at all: EAGAIN is a full backlog.
            if (::connect(made, reinterpret_cast<struct sockaddr*>(&address), sizeof address) != 0) {
                retVal = resultOfError(error);
                ::close(made);
                break;
            }
            handle = made;
            retVal = Result::Done;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

PipeSocket::Result PipeSocket::receivePacket(int handle, void* buffer, size_t capacity, int flags,
                                             size_t& size, int& error)
{
    Result retVal = Result::Failed;
    try {
        do {
            const ssize_t received = ::recv(handle, buffer, capacity, flags | MSG_DONTWAIT);
            if (received < 0) {
                retVal = resultOfError(error);
                break;
            }
            // Packets are never empty: nothing at all is the other end's close.
            if (received == 0) {
                retVal = Result::Closed;
                break;
            }
            size = static_cast<size_t>(received);
            retVal = Result::Done;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

PipeSocket::Result PipeSocket::peek(int handle, void* buffer, size_t capacity, size_t& packetSize, int& error)
{
    // MSG_TRUNC makes the call tell the packet's real length even when it is longer.
    return receivePacket(handle, buffer, capacity, MSG_PEEK | MSG_TRUNC, packetSize, error);
}

PipeSocket::Result PipeSocket::receive(int handle, void* buffer, size_t capacity, size_t& received,
                                       int& error)
{
    return receivePacket(handle, buffer, capacity, 0, received, error);
}

PipeSocket::Result PipeSocket::send(int handle, const void* data, size_t size, int& error)
{
    Result retVal = Result::Failed;
    try {
        do {
            // MSG_NOSIGNAL: a reader that has gone is an answer, not a SIGPIPE.
            const ssize_t sent = ::send(handle, data, size, MSG_DONTWAIT | MSG_NOSIGNAL);
            if (sent < 0) {
                retVal = resultOfError(error);
                break;
            }
            SANITY_CHECK(static_cast<size_t>(sent) == size);
            retVal = Result::Done;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool PipeSocket::hasInput(int handle)
{
    struct pollfd entry {};
    entry.fd = handle;
    entry.events = POLLIN;
    return ::poll(&entry, 1, 0) > 0 && (entry.revents & (POLLIN | POLLHUP | POLLERR)) != 0;
}

bool PipeSocket::close(int handle)
{
    return handle >= 0 && ::close(handle) == 0;
}

bool PipeSocket::removeSocketFile(const std::string& socketPath)
{
    struct stat info {};
    if (::lstat(socketPath.c_str(), &info) != 0) return errno == ENOENT;
    // The path comes from a marker file: anything but a socket there is not ours to remove.
    return S_ISSOCK(info.st_mode) && ::unlink(socketPath.c_str()) == 0;
}

}  // namespace Qfn
