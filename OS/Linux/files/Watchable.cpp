#include "Watchable.h"

#include "iThreadManager.h"
#include "iUtils.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
    // The queue's label "com.kvst.filewatcher", cut to the 15 characters a
    // Linux thread name holds.
    const char* const kQueueName = "kvst.filewatch";

    // What each kind of item must have undergone to be reported: removed,
    // renamed or modified for a file; also created for a folder, so a new file
    // shows only once something is written to it. FSEvents' "cloned" has no
    // inotify counterpart.
    constexpr std::uint32_t kFileChanges = IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY;
    constexpr std::uint32_t kFolderChanges = kFileChanges | IN_CREATE;
    // IN_ONLYDIR: a path that is no folder delivers nothing, like one that
    // does not exist. IN_MOVE_SELF: a folder moved away is no longer the one
    // named. IN_IGNORED comes unasked when a watch ends.
    constexpr std::uint32_t kWatchedEvents = kFolderChanges | IN_MOVE_SELF | IN_ONLYDIR;

    // One read takes hundreds of events.
    constexpr std::size_t kReadBytes = 64 * 1024;

    // A change that comes within this long of a delivery waits for it to end,
    // so that a large copy is a handful of batches. Also how often a folder
    // that has gone is looked for.
    constexpr auto kLatency = std::chrono::seconds(1);

    // inotify says only whether an item is a folder. Anything else still there
    // must be a regular file, so symbolic links, pipes and devices are dropped;
    // an item already gone cannot be asked and counts as a file.
    bool isFileOrGone(const LightweightString<char>& itemPath)
    {
        struct stat status;
        if (lstat(itemPath.c_str(), &status) != 0)
            return true;
        return S_ISREG(status.st_mode);
    }

    // A name's events are merged, so a removal outweighs a rename, which
    // outweighs anything else. A renamed item is reported under both names,
    // and a move out of the folder stays a rename: only an unlink is a removal.
    int changeOf(std::uint32_t mask)
    {
        if (mask & IN_DELETE)
            return iWatchable::eFileRemoved;
        if (mask & (IN_MOVED_FROM | IN_MOVED_TO))
            return iWatchable::eFileRenamed;
        return iWatchable::eFileModified;
    }

    bool isAbsence(int error) { return error == ENOENT || error == ENOTDIR; }

    void logFailure(const LightweightString<char>& path, int error)
    {
        OS()->utils()->vlog("Watchable : can't watch %s (%s)\n", path.c_str(), strerrordesc_np(error));
    }

    int millisecondsUntil(std::chrono::steady_clock::time_point deadline)
    {
        if (deadline == std::chrono::steady_clock::time_point::max())
            return -1;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        return int(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
    }
}

Watchable::Watchable(Kv::Ptr<iWatchHandler> handler, const LightweightString<wchar_t>& folder)
    : inotify(-1), watch(-1), wakeUp(-1), folder(folder), handler(std::move(handler)),
      lastDelivery(Clock::now() - kLatency), nextLook(Clock::time_point::max())
{
    path = OS()->utils()->toUTF8(this->folder);
    inotify = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (inotify >= 0)
        watch = inotify_add_watch(inotify, path.c_str(), kWatchedEvents);
    if (watch >= 0)
        wakeUp = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    // A queue that could never deliver, or never be stopped, is not started.
    if (wakeUp < 0) {
        if (!isAbsence(errno))
            logFailure(path, errno);
        return;
    }
    iThread::InitArgs args;
    args.entry = run;
    args.arg = this;
    args.name = kQueueName;
    queue = OS()->threadMgr()->createThread(args);
}

// The queue stops first, so that no batch reaches a dying object, and only
// then go the descriptors it reads. Closing the instance ends its watch.
Watchable::~Watchable()
{
    if (queue) {
        eventfd_write(wakeUp, 1);
        queue = nullptr; // joins
    }
    if (inotify >= 0)
        close(inotify);
    if (wakeUp >= 0)
        close(wakeUp);
}

const LightweightString<wchar_t>& Watchable::getWatchedFolder() const { return folder; }

void Watchable::run(void* self) { static_cast<Watchable*>(self)->serve(); }

// Sleeps in poll until there are events, the wake-up, the end of the current
// gathering or the next look for a folder that has gone.
void Watchable::serve()
{
    pollfd sources[2] = {{wakeUp, POLLIN, 0}, {inotify, POLLIN, 0}};
    for (;;) {
        const Clock::time_point deadline =
            std::min(gathered.empty() ? Clock::time_point::max() : lastDelivery + kLatency, nextLook);
        if (poll(sources, 2, millisecondsUntil(deadline)) < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        if (sources[0].revents)
            return;
        // An error on the descriptor would make every poll return at once.
        if (sources[1].revents & ~POLLIN)
            return;
        if (sources[1].revents & POLLIN)
            readEvents();
        const Clock::time_point now = Clock::now();
        if (now >= nextLook)
            lookForFolder(now);
        if (!gathered.empty() && now >= lastDelivery + kLatency)
            deliver(now);
    }
}

// inotify watches are not recursive and give the child's own name, so
// everything here is a direct child; hidden names are dropped by that name.
void Watchable::readEvents()
{
    alignas(inotify_event) char events[kReadBytes];
    const ssize_t length = read(inotify, events, sizeof events);
    for (ssize_t offset = 0; offset < length;) {
        const auto* event = reinterpret_cast<const inotify_event*>(events + offset);
        offset += sizeof(inotify_event) + event->len;
        // What a watch that has ended still had queued, as for a folder
        // moved away, is not about the named folder.
        if (event->wd != watch)
            continue;
        if (event->mask & (IN_IGNORED | IN_MOVE_SELF)) {
            if (event->mask & IN_MOVE_SELF)
                inotify_rm_watch(inotify, watch);
            watch = -1;
            nextLook = Clock::now();
            continue;
        }
        // Events of the folder itself and queue overflows carry no name.
        if (event->len == 0 || event->name[0] == 0 || event->name[0] == '.')
            continue;
        if (event->mask & (event->mask & IN_ISDIR ? kFolderChanges : kFileChanges))
            gather(event->name, event->mask);
    }
}

void Watchable::gather(const LightweightString<char>& name, std::uint32_t mask)
{
    const auto [at, added] = gatheredAt.try_emplace(name, gathered.size());
    if (added)
        gathered.emplace_back(name, mask);
    else
        gathered[at->second].second |= mask;
}

// The folder is looked for, not watched for in its parent: the parent may go
// too, with the whole tree, and a look a second is cheaper than hearing of
// everything made in a busy parent. Whatever the folder holds when found
// counts as modified, since it came after the folder went and may have come
// before the watch did.
void Watchable::lookForFolder(Clock::time_point now)
{
    nextLook = Clock::time_point::max();
    watch = inotify_add_watch(inotify, path.c_str(), kWatchedEvents);
    if (watch < 0) {
        if (isAbsence(errno))
            nextLook = now + kLatency;
        else
            logFailure(path, errno);
        return;
    }
    if (DIR* items = opendir(path.c_str())) {
        while (const dirent* item = readdir(items))
            if (item->d_name[0] != '.')
                gather(item->d_name, IN_MODIFY | (item->d_type == DT_DIR ? IN_ISDIR : 0));
        closedir(items);
    }
}

// One call of the handler with everything gathered that survives, or none.
void Watchable::deliver(Clock::time_point now)
{
    LightweightString<char> prefix = path;
    if (prefix.empty() || prefix[prefix.size() - 1] != '/')
        prefix += "/";
    Kv::Ptr<iWatchable::Result> result;
    for (const auto& [name, mask] : gathered) {
        const LightweightString<char> itemPath = prefix + name.c_str();
        if (!(mask & IN_ISDIR) && !isFileOrGone(itemPath))
            continue;
        iWatchable::FileChangeInfo info;
        info.name = OS()->utils()->fromUTF8(itemPath.c_str(), -1);
        info.change = changeOf(mask);
        if (!result) {
            result = Kv::Ptr<iWatchable::Result>(new iWatchable::Result);
            result->status = 10;
        }
        result->folder = folder;
        result->changes.push_back(info);
    }
    gathered.clear();
    gatheredAt.clear();
    lastDelivery = now;
    if (result)
        handler->handleWatchResult(result);
}
