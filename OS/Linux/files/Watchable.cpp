#include "Watchable.h"

#include "iThreadManager.h"
#include "iUtils.h"

#include <cerrno>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

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
    // does not exist. IN_IGNORED comes unasked when the folder goes.
    constexpr std::uint32_t kWatchedEvents = kFolderChanges | IN_ONLYDIR;

    // One read of the inotify descriptor is one batch; this much holds
    // hundreds of events.
    constexpr std::size_t kBatchBytes = 64 * 1024;

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

    // A renamed item is reported under both names, and a move out of the
    // folder stays a rename, as FSEvents flags it: only an unlink is a removal.
    int changeOf(std::uint32_t mask)
    {
        if (mask & IN_DELETE)
            return iWatchable::eFileRemoved;
        if (mask & (IN_MOVED_FROM | IN_MOVED_TO))
            return iWatchable::eFileRenamed;
        return iWatchable::eFileModified;
    }
}

Watchable::Watchable(Kv::Ptr<iWatchHandler> handler, const LightweightString<wchar_t>& folder)
    : inotify(-1), watch(-1), wakeUp(-1), folder(folder), handler(std::move(handler))
{
    path = OS()->utils()->toUTF8(this->folder);
    inotify = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (inotify >= 0)
        watch = inotify_add_watch(inotify, path.c_str(), kWatchedEvents);
    wakeUp = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    // A queue that could never deliver, or never be stopped, is not started.
    if (watch < 0 || wakeUp < 0)
        return;
    iThread::InitArgs args;
    args.entry = run;
    args.arg = this;
    args.name = kQueueName;
    queue = OS()->threadMgr()->createThread(args);
}

// The queue stops first, so that no batch reaches a dying object, and only
// then go the descriptors it reads.
Watchable::~Watchable()
{
    if (queue) {
        eventfd_write(wakeUp, 1);
        queue = nullptr; // joins
    }
    if (watch >= 0)
        inotify_rm_watch(inotify, watch);
    if (inotify >= 0)
        close(inotify);
    if (wakeUp >= 0)
        close(wakeUp);
}

const LightweightString<wchar_t>& Watchable::getWatchedFolder() const { return folder; }

void Watchable::run(void* self) { static_cast<Watchable*>(self)->serve(); }

// Sleeps in poll until there are events or the wake-up. Once the folder is
// gone its watch ends with IN_IGNORED and the descriptor never becomes
// readable again, so the queue just sleeps until the destructor wakes it.
void Watchable::serve()
{
    alignas(inotify_event) char events[kBatchBytes];
    pollfd sources[2] = {{wakeUp, POLLIN, 0}, {inotify, POLLIN, 0}};
    for (;;) {
        if (poll(sources, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        if (sources[0].revents)
            return;
        // An error on the descriptor would make every poll return at once.
        if (sources[1].revents & ~POLLIN)
            return;
        const ssize_t length = read(inotify, events, sizeof events);
        if (length > 0)
            deliver(events, std::size_t(length));
    }
}

// inotify watches are not recursive and give the child's own name, so
// everything here is a direct child and no path has to be cut down to find
// the name; hidden names are dropped by that name.
void Watchable::deliver(const char* events, std::size_t length)
{
    Kv::Ptr<iWatchable::Result> result;
    for (std::size_t offset = 0; offset < length;) {
        const auto* event = reinterpret_cast<const inotify_event*>(events + offset);
        offset += sizeof(inotify_event) + event->len;
        if (event->mask & IN_IGNORED) {
            watch = -1;
            continue;
        }
        // Events of the folder itself and queue overflows carry no name.
        if (event->len == 0 || event->name[0] == 0 || event->name[0] == '.')
            continue;
        const bool isFolder = event->mask & IN_ISDIR;
        if (!(event->mask & (isFolder ? kFolderChanges : kFileChanges)))
            continue;
        LightweightString<char> itemPath = path;
        if (itemPath.empty() || itemPath[itemPath.size() - 1] != '/')
            itemPath += "/";
        itemPath += event->name;
        if (!isFolder && !isFileOrGone(itemPath))
            continue;
        iWatchable::FileChangeInfo info;
        info.name = OS()->utils()->fromUTF8(itemPath.c_str(), -1);
        info.change = changeOf(event->mask);
        if (!result) {
            result = Kv::Ptr<iWatchable::Result>(new iWatchable::Result);
            result->status = 10;
        }
        result->folder = folder;
        result->changes.push_back(info);
    }
    if (result)
        handler->handleWatchResult(result);
}
