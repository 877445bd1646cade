// A path query over a generated document of 100,000 nodes: count the keys that contain "v1",
// at any depth. bench/path-query-vs-jq runs the same count with jq on the same document.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "QfnParser/query/OMAccessor.h"
#include "QfnParser/model/OMStored.h"
#include "QfnTask/Task.h"

namespace {

constexpr int kNodeCount = 100000;

// Maps of eight scalars (three of whose keys contain "v1") and up to three nested maps, filled
// breadth first until the document holds kNodeCount nodes.
struct Document {
    std::shared_ptr<Qfn::OMStored> root;
    int64_t keysWithV1 = 0;
};

Document buildDocument()
{
    static const char* scalarKeys[] = {"v1", "v2", "v3", "xv1y", "a", "b", "v12", "c"};
    static const char* treeKeys[] = {"t1", "t2", "t3"};
    Document document;
    document.root = Qfn::OMStored::mapFactory();
    std::vector<std::shared_ptr<Qfn::OMStored>> pending{document.root};
    int nodes = 1;
    for (size_t next = 0; next < pending.size() && nodes < kNodeCount; ++next) {
        auto map = pending[next];
        for (const char* key : scalarKeys) {
            if (nodes >= kNodeCount) break;
            map->bindMember(key, Qfn::OMStored::factory(static_cast<int64_t>(nodes)));
            ++nodes;
            if (std::string(key).find("v1") != std::string::npos) ++document.keysWithV1;
        }
        for (const char* key : treeKeys) {
            if (nodes >= kNodeCount) break;
            auto child = Qfn::OMStored::mapFactory();
            map->bindMember(key, child);
            pending.push_back(child);
            ++nodes;
        }
    }
    return document;
}

void writeJson(const Qfn::IOMNode& node, std::ostream& out)
{
    if (node.getType() != Qfn::OMType::Map) {
        out << node.getInt();
        return;
    }
    out << '{';
    bool first = true;
    for (auto iter = node.getNodeIterator(); iter && !iter->atEnd(); (*iter)++) {
        out << (first ? "" : ",") << '"' << iter->getKey() << "\":";
        first = false;
        if (auto member = **iter) writeJson(*member, out);
    }
    out << '}';
}

void BM_PathQueryCountOverAHundredThousandNodes(benchmark::State& state)
{
    Document document = buildDocument();
    if (const char* jsonPath = std::getenv("QFN_BENCH_JSON")) {
        std::ofstream out(jsonPath);
        writeJson(*document.root, out);
    }
    Qfn::OMAccessor accessor(document.root);
    int64_t count = 0;
    for (auto _ : state) {
        auto result = accessor.get("count()/*.*/$v1", Qfn::ReferenceType::OM_REF_SELECTOR_FIRST_MATCH);
        count = result ? result->getInt() : -1;
        benchmark::DoNotOptimize(count);
    }
    if (count != document.keysWithV1) {
        state.SkipWithError(("count " + std::to_string(count) + " instead of " +
                             std::to_string(document.keysWithV1)).c_str());
    }
    state.counters["matches"] = static_cast<double>(count);
    Qfn::Task::deregisterAllTasks();
}
BENCHMARK(BM_PathQueryCountOverAHundredThousandNodes)->Unit(benchmark::kMillisecond);

}  // namespace
