#include "support/PipeClient.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "QfnAddress/LocalResolvedAddress.h"
#include "QfnAddress/LocalUnresolvedAddress.h"
#include "QfnData/Data_abstract.h"
#include "QfnMessage/Message.h"
#include "QfnObject/GUIDClass.h"
#include "QfnUtils/Pipes.h"
#include "support/ObjectClasses.h"

namespace QfnTest {

PipeClient::PipeClient(const std::string& dataDirectory, const std::string& name)
    : fDataDirectory(dataDirectory),
      fName(name),
      fClientGUID(Qfn::GUIDClass::randomFactory()),
      fCoordinatorGUID(Qfn::GUIDClass::randomFactory())
{
    registerObjectClassesOnce();
}

PipeClient::~PipeClient()
{
    close();
}

bool PipeClient::open()
{
    std::filesystem::create_directories(pipeFolder());
    std::filesystem::create_directories(sessionFolder());
    std::ofstream(sessionFolder() + fName + ".pid") << ::getpid();
    fReadHandle = Qfn::Pipes::openReadNamedPipe(pipeFolder() + fName);
    return fReadHandle != 0;
}

unsigned long PipeClient::publishedPid(const std::string& coordinatorName) const
{
    std::ifstream file(sessionFolder() + coordinatorName + ".pid");
    unsigned long pid = 0;
    if (!(file >> pid)) return 0;
    return pid;
}

bool PipeClient::send(Qfn::OpCode opCode, const std::string& coordinatorName, const std::string& servicePath,
                      const std::string& payload, const std::string& throughCoordinator)
{
    if (fWriteHandle == 0 || fWriteTarget != throughCoordinator) {
        if (fWriteHandle != 0) Qfn::Pipes::closeNamedPipe(fWriteHandle);
        fWriteHandle = Qfn::Pipes::openWriteNamedPipe(pipeFolder() + throughCoordinator,
                                                      publishedPid(throughCoordinator), throughCoordinator);
        fWriteTarget = throughCoordinator;
        if (fWriteHandle == 0) return false;
    }
    auto message = Qfn::Message::factoryFromSenderDestinationAddressOpCodePayloadStr(
        Qfn::LocalResolvedAddress::factoryFromGUIDs(fClientGUID, fCoordinatorGUID),
        Qfn::LocalUnresolvedAddress::factoryFromCoordinatorNameIndices(coordinatorName, servicePath), opCode,
        payload);
    if (!message) return false;
    if (!Qfn::Pipes::writeToNamedPipe(fWriteHandle, Qfn::Data_abstract::serializeToStr(message))) return false;
    // The string goes out before send returns: the pipes move data only when polled.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < deadline) {
        Qfn::Pipes::timeslice();
        const Qfn::Pipes::WriteStatus status = Qfn::Pipes::getWritePipeStatus(fWriteHandle);
        if (status == Qfn::Pipes::WriteStatus::Empty) return true;
        if (status != Qfn::Pipes::WriteStatus::Open) return false;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return false;
}

std::shared_ptr<Qfn::IMessage> PipeClient::receive(std::chrono::milliseconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    std::string text;
    bool isComplete = false;
    while (std::chrono::steady_clock::now() < deadline) {
        // The pipes are polled as a coordinator polls them: writes go out, packets come in.
        Qfn::Pipes::timeslice();
        if (Qfn::Pipes::readFromNamedPipe(text, fReadHandle, isComplete, 10) && isComplete)
            return std::dynamic_pointer_cast<Qfn::IMessage>(Qfn::Data_abstract::deserializeFromStr(text));
        // Nothing yet: give the coordinators the processor for a moment before polling again.
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return nullptr;
}

void PipeClient::close()
{
    if (fWriteHandle != 0) Qfn::Pipes::closeNamedPipe(fWriteHandle);
    if (fReadHandle != 0) Qfn::Pipes::closeNamedPipe(fReadHandle);
    fWriteHandle = fReadHandle = 0;
    std::error_code ignored;
    std::filesystem::remove(sessionFolder() + fName + ".pid", ignored);
}

}  // namespace QfnTest
