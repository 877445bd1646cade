#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnMessage/IMessage.h"
#include "QfnMessage/OpCode.h"
#include "QfnParser/model/OMStored.h"
#include "QfnService/Service_abstract.h"
#include "QfnTask/Task.h"
#include "support/ScopedDataHome.h"

namespace QfnTest {

// A service of the test attached to the coordinator: it keeps what it receives, so that a test
// can send requests from it and read the answers.
class RecordingService : public Qfn::Service_abstract {
public:
    static const std::string TYPENAME;
    static const std::string SERVICE_NAME;
    const std::string& typeName() const override { return TYPENAME; }
    const std::string& getServiceName() const override { return SERVICE_NAME; }
    static std::shared_ptr<RecordingService> factory();

    bool receiveMessage(std::shared_ptr<const Qfn::IObject> messageObj) override;
    std::vector<std::shared_ptr<const Qfn::IMessage>> fReceived;

private:
    RecordingService() = default;
};

// The coordinator as a running process has it (its services, a main task of its own, a data
// folder of the test's own), and a recording service to talk to it. Siblings made by routing are
// let go after each test, so that the object count comes back to where it was.
class MessagingFixture : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    static std::shared_ptr<Qfn::InternalCoordinator> coordinator();
    // Queues a message from the recording service to the URL (qfn:////default, say).
    bool send(const std::string& url, Qfn::OpCode opCode, const std::string& payload);
    // Runs rounds of the main task and the active tasks until the test holds, for at most the deadline.
    bool runUntil(const std::function<bool()>& test, int64_t deadlineMilliseconds = 10000);
    // Rounds until nothing is queued or running but the main task.
    bool runUntilQuiet();
    // The received messages of that opcode; their payloads parsed.
    std::vector<std::shared_ptr<Qfn::OMStored>> payloadsOf(Qfn::OpCode opCode) const;
    size_t countOf(Qfn::OpCode opCode) const;

    std::shared_ptr<RecordingService> fClient;
    std::shared_ptr<Qfn::Task> fMainTask;
    uint64_t fObjectCountAtStart = 0;

private:
    ScopedDataHome fDataHome;
};

}  // namespace QfnTest
