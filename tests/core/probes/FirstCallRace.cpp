// Two threads make the very first call to OS() at the same moment: both must
// get the one system object, and exactly the thread that built it is named
// "Main thread". Nothing here allocates through operator new before the race.
#include "OS.h"

#include <cstdio>
#include <cstring>
#include <pthread.h>

namespace
{
    pthread_barrier_t start;
    iOperatingSystem* seen[2];
    char names[2][16];

    void* race(void* slot)
    {
        const auto index = reinterpret_cast<long>(slot);
        pthread_barrier_wait(&start);
        seen[index] = OS();
        pthread_getname_np(pthread_self(), names[index], sizeof names[index]);
        return nullptr;
    }

    bool named(const char* name) { return std::strcmp(name, "Main thread") == 0; }
}

int main()
{
    char mainName[16];
    pthread_getname_np(pthread_self(), mainName, sizeof mainName);
    if (named(mainName)) {
        std::puts("FAIL: the system was built before main, there is nothing to race");
        return 1;
    }
    pthread_barrier_init(&start, nullptr, 2);
    pthread_t threads[2];
    for (long i = 0; i < 2; ++i)
        pthread_create(&threads[i], nullptr, race, reinterpret_cast<void*>(i));
    for (pthread_t thread : threads)
        pthread_join(thread, nullptr);

    const bool one = seen[0] && seen[0] == seen[1] && OS() == seen[0];
    const int namedThreads = int(named(names[0])) + int(named(names[1]));
    std::printf("same object: %s, threads named \"Main thread\": %d\n", one ? "yes" : "no", namedThreads);
    return one && namedThreads == 1 ? 0 : 1;
}
