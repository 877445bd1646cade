#include "QfnUtils/BigStackThread.h"

#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include "QfnLogger/Check.h"

namespace Qfn {

namespace {

struct Job {
    const std::function<int()>* work = nullptr;
    int result = 0;
};

void* runJob(void* argument)
{
    auto* job = static_cast<Job*>(argument);
    try {
        job->result = (*job->work)();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return nullptr;
}

}  // namespace

int BigStackThread::run(size_t stackBytes, const std::function<int()>& work)
{
    Job job{&work, 0};
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    // The reservation is address space only: pages are committed as the stack grows into them.
    void* stack = mmap(nullptr, stackBytes, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
    bool ran = false;
    if (stack != MAP_FAILED) {
        // A page at the low end that faults, so that an overflow stops the process instead of
        // writing into whatever lies below.
        mprotect(stack, page, PROT_NONE);
        pthread_attr_t attributes;
        pthread_t thread;
        if (pthread_attr_init(&attributes) == 0) {
            if (pthread_attr_setstack(&attributes, stack, stackBytes) == 0 &&
                pthread_attr_setguardsize(&attributes, 0) == 0 &&
                pthread_create(&thread, &attributes, runJob, &job) == 0) {
                pthread_join(thread, nullptr);
                ran = true;
            }
            pthread_attr_destroy(&attributes);
        }
        munmap(stack, stackBytes);
    }
    if (!ran) {
        LOG_WARNING("no thread with a large stack could be made: deep recursion has the usual stack");
        runJob(&job);
    }
    return job.result;
}

}  // namespace Qfn
