// Arbitrary bytes as a qfn:// URL: reading must neither crash nor leak, and an address that is read
// must print as a URL that reads back as an equal address.
#include <cstdint>
#include <cstdio>
#include <string>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnLogger/Log.h"
#include "QfnObject/Object.h"
#include "support/UrlRoundTrip.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    Qfn::Log::setLogLevel(0);
    if (!Qfn::InternalCoordinator::factory() || !Qfn::InternalCoordinator::registerObjectClasses() ||
        !QfnTest::registerLocalHostNames())
        __builtin_trap();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const uint64_t before = Qfn::Object::getObjectCount();
    const std::string failure =
        QfnTest::checkUrlRoundTrip(std::string(reinterpret_cast<const char*>(data), size));
    if (!failure.empty()) {
        std::fprintf(stderr, "round trip failed: %s\n", failure.c_str());
        __builtin_trap();
    }
    if (Qfn::Object::getObjectCount() != before) {
        std::fprintf(stderr, "object count %llu after the run, %llu before\n",
                     static_cast<unsigned long long>(Qfn::Object::getObjectCount()),
                     static_cast<unsigned long long>(before));
        __builtin_trap();
    }
    return 0;
}
