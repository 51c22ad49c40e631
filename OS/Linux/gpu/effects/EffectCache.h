#pragma once

#include <chrono>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

// Translations kept on disk between runs, one file per key: "<folder><key>.kvfx",
// where the key is a SHA-256 in hexadecimal. Entries are written to a temporary
// file and renamed, so a reader sees a whole entry or none; two processes that
// write the same key write the same bytes. The cache checks nothing inside an
// entry: the caller decides whether what it reads back is usable.
//
// An entry's modification time is when it was last stored or loaded. The first
// store of a process into a folder deletes the entries unused for kUnusedLifetime
// and temporaries older than kTemporaryLifetime that a stopped writer left;
// files with other names are never touched.
class EffectCache
{
public:
    static constexpr std::chrono::hours kUnusedLifetime{24 * 60};
    static constexpr std::chrono::hours kTemporaryLifetime{1};

    // folder ends with "/"; empty means the user's cache folder + "kvos/effects/".
    explicit EffectCache(std::string folder = {});

    // The SHA-256 of the fields, each framed by its length so that no two lists hash alike.
    static std::string keyOf(std::initializer_list<std::string_view> fields);

    std::optional<std::string> load(const std::string& key) const;
    // False when the folder cannot be written; the cache is only an optimisation.
    bool store(const std::string& key, std::string_view bytes) const;

    const std::string& folder() const { return folder_; }

private:
    std::string pathOf(const std::string& key) const;
    void pruneOnce() const;

    std::string folder_;
};
