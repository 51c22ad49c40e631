#include <benchmark/benchmark.h>

#include <future>
#include <thread>

int main(int argc, char** argv)
{
    // An editor always runs many threads, and glibc lets std::shared_ptr skip
    // its atomics while a process has only one (__libc_single_threaded). This
    // idle thread, alive for the whole run, keeps the anchors as honest as
    // they are in the product.
    std::promise<void> finished;
    std::thread idle([done = finished.get_future()] { done.wait(); });

    benchmark::Initialize(&argc, argv);
    const bool usable = !benchmark::ReportUnrecognizedArguments(argc, argv);
    if (usable)
        benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    finished.set_value();
    idle.join();
    return usable ? 0 : 1;
}
