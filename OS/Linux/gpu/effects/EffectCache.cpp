#include "EffectCache.h"

#include <glib.h>
#include <openssl/evp.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <memory>
#include <mutex>
#include <set>

namespace {

// A descriptor closed on every path out.
struct Descriptor
{
    int fd = -1;
    ~Descriptor()
    {
        if (fd >= 0)
            ::close(fd);
    }
};

bool writeAll(int fd, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        bytes.remove_prefix(size_t(written));
    }
    return true;
}

constexpr size_t kKeySize = 64;
const std::string_view kEntrySuffix = ".kvfx";

bool startsWithKey(std::string_view name)
{
    if (name.size() < kKeySize)
        return false;
    for (const char c : name.substr(0, kKeySize)) {
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f')))
            return false;
    }
    return true;
}

bool isEntryName(std::string_view name)
{
    return startsWithKey(name) && name.substr(kKeySize) == kEntrySuffix;
}

// What mkostemp makes of store's "<key>.XXXXXX".
bool isTemporaryName(std::string_view name)
{
    if (!startsWithKey(name) || name.size() != kKeySize + 7 || name[kKeySize] != '.')
        return false;
    for (const char c : name.substr(kKeySize + 1)) {
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')))
            return false;
    }
    return true;
}

} // namespace

EffectCache::EffectCache(std::string folder) : folder_(std::move(folder))
{
    if (folder_.empty())
        folder_ = std::string(g_get_user_cache_dir()) + "/kvos/effects/";
    if (folder_.back() != '/')
        folder_ += '/';
}

std::string EffectCache::keyOf(std::initializer_list<std::string_view> fields)
{
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    if (!context || !EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr))
        return {};
    for (const std::string_view field : fields) {
        const std::string length = std::to_string(field.size()) + ":";
        EVP_DigestUpdate(context.get(), length.data(), length.size());
        EVP_DigestUpdate(context.get(), field.data(), field.size());
    }
    if (!EVP_DigestFinal_ex(context.get(), digest, &size))
        return {};
    static const char hex[] = "0123456789abcdef";
    std::string key;
    for (unsigned int index = 0; index < size; ++index) {
        key += hex[digest[index] >> 4];
        key += hex[digest[index] & 15];
    }
    return key;
}

std::string EffectCache::pathOf(const std::string& key) const
{
    return folder_ + key + ".kvfx";
}

std::optional<std::string> EffectCache::load(const std::string& key) const
{
    if (key.empty())
        return std::nullopt;
    Descriptor file{::open(pathOf(key).c_str(), O_RDONLY | O_CLOEXEC)};
    if (file.fd < 0)
        return std::nullopt;
    std::string bytes;
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(file.fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return std::nullopt;
        if (got == 0)
            break;
        bytes.append(buffer, size_t(got));
    }
    // A hit is a use: pruning goes by the modification time.
    const timespec times[2] = {{0, UTIME_OMIT}, {0, UTIME_NOW}};
    ::futimens(file.fd, times);
    return bytes;
}

bool EffectCache::store(const std::string& key, std::string_view bytes) const
{
    if (key.empty() || g_mkdir_with_parents(folder_.c_str(), 0700) != 0)
        return false;
    pruneOnce();
    // A name of our own per writer: a rename then replaces the entry whole.
    std::string temporary = folder_ + key + ".XXXXXX";
    Descriptor file{::mkostemp(temporary.data(), O_CLOEXEC)};
    if (file.fd < 0)
        return false;
    const bool written = writeAll(file.fd, bytes) && ::fsync(file.fd) == 0;
    ::close(file.fd);
    file.fd = -1;
    if (!written || ::rename(temporary.c_str(), pathOf(key).c_str()) != 0) {
        ::unlink(temporary.c_str());
        return false;
    }
    return true;
}

// Stores are rare (each follows a compile), so the first one of a process pays
// for the pass over the folder. An entry loaded while it is being deleted is
// read whole by its loader and is only a miss for the next one.
void EffectCache::pruneOnce() const
{
    static std::mutex mutex;
    static std::set<std::string> pruned;
    {
        const std::lock_guard lock(mutex);
        if (!pruned.insert(folder_).second)
            return;
    }
    struct Closer
    {
        void operator()(DIR* directory) const { ::closedir(directory); }
    };
    const std::unique_ptr<DIR, Closer> directory(::opendir(folder_.c_str()));
    if (!directory)
        return;
    const int fd = ::dirfd(directory.get());
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    while (const dirent* found = ::readdir(directory.get())) {
        const std::string_view name = found->d_name;
        const bool entry = isEntryName(name);
        if (!entry && !isTemporaryName(name))
            continue;
        const std::chrono::seconds lifetime = entry ? kUnusedLifetime : kTemporaryLifetime;
        struct stat status{};
        if (::fstatat(fd, found->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(status.st_mode))
            continue;
        if (now.tv_sec - status.st_mtim.tv_sec > lifetime.count())
            ::unlinkat(fd, found->d_name, 0);
    }
}
