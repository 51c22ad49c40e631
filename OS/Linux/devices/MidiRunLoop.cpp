#include "MidiRunLoop.h"

#include <utility>

void MidiRunLoop::post(std::function<void()> work)
{
    {
        std::lock_guard<std::mutex> guard(lock);
        pending.push_back(std::move(work));
    }
    changed.notify_one();
}

void MidiRunLoop::prepare()
{
    std::lock_guard<std::mutex> guard(lock);
    wanted = true;
}

// Work runs without the lock, so that it may post more.
void MidiRunLoop::run()
{
    std::unique_lock<std::mutex> guard(lock);
    for (;;) {
        changed.wait(guard, [this] { return !wanted || !pending.empty(); });
        if (!wanted)
            return;
        std::function<void()> work = std::move(pending.front());
        pending.pop_front();
        guard.unlock();
        work();
        guard.lock();
    }
}

void MidiRunLoop::stop()
{
    {
        std::lock_guard<std::mutex> guard(lock);
        wanted = false;
    }
    changed.notify_one();
}
