// The wire's costs: a message-shaped stream (two address record groups, an opcode, a payload of
// 100 bytes: ten records) written and read, and a DataOM of about 10 KB. Items are records.
#include <benchmark/benchmark.h>

#include <memory>
#include <sstream>
#include <string>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnData/DataOM.h"
#include "QfnData/DataString.h"
#include "QfnData/Data_abstract.h"
#include "QfnObject/GUIDClass.h"
#include "QfnSerializer/ISerializer.h"
#include "QfnSerializer/Serializer_abstract.h"

namespace {

constexpr int kMessageRecords = 10;

bool classesRegistered()
{
    static const bool registered = Qfn::InternalCoordinator::registerObjectClasses();
    return registered;
}

struct MessageParts {
    Qfn::GUIDClass* senderGUIDs[2] = {Qfn::GUIDClass::randomFactory(), Qfn::GUIDClass::randomFactory()};
    Qfn::GUIDClass* receiverGUIDs[2] = {Qfn::GUIDClass::randomFactory(), Qfn::GUIDClass::randomFactory()};
    std::shared_ptr<Qfn::IObject> payload =
        Qfn::DataString::factoryFromString(std::string(96, 'p') + "\n\"x\"");
};

// Type name, sender (type and two GUIDs), receiver (the same), opcode, payload (type and text).
bool writeMessage(const MessageParts& parts, std::ostream& out)
{
    auto serializer =
        std::dynamic_pointer_cast<Qfn::ISerializer>(Qfn::Serializer_abstract::defaultSerializerFactory());
    bool ok = serializer->startSerialize(&out) && serializer->putString("Message") &&
              serializer->putString("LocalResolvedAddress") && serializer->putGUID(parts.senderGUIDs[0]) &&
              serializer->putGUID(parts.senderGUIDs[1]) && serializer->putString("RemoteResolvedAddress") &&
              serializer->putGUID(parts.receiverGUIDs[0]) && serializer->putGUID(parts.receiverGUIDs[1]) &&
              serializer->putString("12") && Qfn::Data_abstract::serialize(parts.payload, serializer);
    serializer->endSerialize();
    return ok;
}

bool readMessage(const std::string& text)
{
    auto serializer =
        std::dynamic_pointer_cast<Qfn::ISerializer>(Qfn::Serializer_abstract::defaultSerializerFactory());
    std::istringstream in(text);
    bool ok = serializer->startDeserialize(&in) && serializer->getString() == "Message";
    for (int group = 0; ok && group < 2; ++group) {
        ok = !serializer->getString().empty() && serializer->getGUID() && serializer->getGUID();
    }
    ok = ok && serializer->getString() == "12";
    auto payload = Qfn::Data_abstract::factoryFromTypePrefixedSerialized(serializer);
    benchmark::DoNotOptimize(payload);
    return ok && payload && serializer->endDeserialize();
}

std::string messageText(const MessageParts& parts)
{
    std::ostringstream out;
    writeMessage(parts, out);
    return out.str();
}

void BM_MessageStreamSerialize(benchmark::State& state)
{
    if (!classesRegistered()) return state.SkipWithError("classes not registered");
    MessageParts parts;
    for (auto _ : state) {
        std::ostringstream out;
        if (!writeMessage(parts, out)) return state.SkipWithError("write failed");
        benchmark::DoNotOptimize(out);
    }
    state.SetItemsProcessed(state.iterations() * kMessageRecords);
}
BENCHMARK(BM_MessageStreamSerialize);

void BM_MessageStreamDeserialize(benchmark::State& state)
{
    if (!classesRegistered()) return state.SkipWithError("classes not registered");
    const std::string text = messageText(MessageParts());
    for (auto _ : state) {
        if (!readMessage(text)) return state.SkipWithError("read failed");
    }
    state.SetItemsProcessed(state.iterations() * kMessageRecords);
}
BENCHMARK(BM_MessageStreamDeserialize);

// What a message costs on its way through a border: written by one side, read by the other.
void BM_MessageStreamBothWays(benchmark::State& state)
{
    if (!classesRegistered()) return state.SkipWithError("classes not registered");
    MessageParts parts;
    for (auto _ : state) {
        std::ostringstream out;
        if (!writeMessage(parts, out) || !readMessage(out.str())) return state.SkipWithError("failed");
    }
    state.SetItemsProcessed(state.iterations() * kMessageRecords);
}
BENCHMARK(BM_MessageStreamBothWays);

// A map of 100 entries, each a small map with a string, an integer, a float and an array: ~10 KB.
std::shared_ptr<Qfn::IObject> bigDataOM()
{
    std::string json = "{";
    for (int i = 0; i < 100; ++i) {
        if (i) json += ", ";
        json += "\"entry" + std::to_string(i) + "\":{\"name\":\"value number " + std::to_string(i) +
                " with \\\"quotes\\\"\", \"n\":" + std::to_string(i * 1000) + ", \"f\":" + std::to_string(i) +
                ".5, \"list\":[1, 2, 3, \"four\", null, true]}";
    }
    return Qfn::DataOM::factoryFromJSONStr(json + "}");
}

void BM_DataOM10KSerialize(benchmark::State& state)
{
    if (!classesRegistered()) return state.SkipWithError("classes not registered");
    auto data = bigDataOM();
    const size_t bytes = Qfn::Data_abstract::serializeToStr(data).size();
    for (auto _ : state) {
        std::string text = Qfn::Data_abstract::serializeToStr(data);
        if (text.empty()) return state.SkipWithError("write failed");
        benchmark::DoNotOptimize(text);
    }
    state.SetItemsProcessed(state.iterations() * 2);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}
BENCHMARK(BM_DataOM10KSerialize);

void BM_DataOM10KDeserialize(benchmark::State& state)
{
    if (!classesRegistered()) return state.SkipWithError("classes not registered");
    const std::string text = Qfn::Data_abstract::serializeToStr(bigDataOM());
    for (auto _ : state) {
        auto data = Qfn::Data_abstract::deserializeFromStr(text);
        if (!data) return state.SkipWithError("read failed");
        benchmark::DoNotOptimize(data);
    }
    state.SetItemsProcessed(state.iterations() * 2);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}
BENCHMARK(BM_DataOM10KDeserialize);

}  // namespace
