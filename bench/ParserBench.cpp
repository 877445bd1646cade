// Parser throughput: a generated script of about one megabyte, parsed into a tree; the rate is
// reported as bytes per second.
#include <benchmark/benchmark.h>

#include <string>

#include "QfnParser/model/OMStored.h"
#include "QfnParser/tasks/script/ParseTask.h"
#include "QfnTask/Task.h"

namespace {

// Functions, loops, literals, strings and here-documents, repeated with fresh names.
std::string buildScript()
{
    std::string script;
    for (int part = 0; script.size() < 1000000; ++part) {
        std::string n = std::to_string(part);
        script += "function f" + n + "(a, b) {\n    var t = a * 2 + (b - 1) / 3;\n"
                  "    if (t > 10 && b != 'x') { return t } else { return [t, b, {k: t, s: 'text " + n + "'}] }\n}\n"
                  "m" + n + " = {name: \"item " + n + "\", list: [1, 2.5, -3e2, true, null], nested: {x: {y: " + n + "}}};\n"
                  "for (i = 0; i < 10; ++i) { m" + n + ".list.push(i); s = s + m" + n + ".name.substr(1, 3) }\n"
                  "while (k < 3) { k += 1 } // a comment\n/* and a block comment */\n"
                  "h" + n + " = <<END\nsome text of a here-document\nEND\n";
    }
    return script;
}

void BM_ParseOneMegabyteScript(benchmark::State& state)
{
    const std::string script = buildScript();
    for (auto _ : state) {
        auto tree = Qfn::OMStored::undefinedFactory();
        bool parsed = Qfn::ParseTask::call(tree, script);
        if (!parsed) state.SkipWithError("the script does not parse");
        benchmark::DoNotOptimize(tree);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(script.size()));
    Qfn::Task::deregisterAllTasks();
}

}  // namespace

BENCHMARK(BM_ParseOneMegabyteScript)->Unit(benchmark::kMillisecond);
