// The settings file: the bytes as the user's store, loaded, persisted and
// loaded again. The second load holds what the first did, less the values
// whose written line is too short to be read back ("a=" and its line end),
// which the format drops on purpose; a third load holds the second.
//
// The store is found where the library keeps it, under a home and
// configuration folder of the harness's own; a load is the store's
// construction, a save its persist().

#include "FuzzSupport.h"

#include "OS.h"
#include "Settings.h"

#include <map>
#include <vector>

namespace
{
    using Values = std::vector<std::pair<std::string, std::string>>;
    using Store = std::map<std::string, Values>;

    // Before the first OS() call: GLib reads the home folder once.
    const ScratchFolder& home()
    {
        static const ScratchFolder folder;
        static const bool moved = setenv("HOME", folder.path().c_str(), 1) == 0 &&
                                  setenv("XDG_CONFIG_HOME", (folder.path() + ".config").c_str(), 1) == 0;
        expect(moved, "the harness has a home of its own");
        return folder;
    }

    std::string storePath()
    {
        const std::string path = OS()->utils()->toUTF8(Settings::getPath(iSettings::eUserSettings)).c_str();
        static const bool made = g_mkdir_with_parents(path.substr(0, path.rfind('/')).c_str(), 0700) == 0;
        expect(made, "the store's folder can be made");
        return path;
    }

    // A saved file names every section that holds a value: "[name]" lines,
    // as no name of a section holds "]".
    std::vector<std::string> sectionsOf(const std::string& file)
    {
        std::vector<std::string> sections;
        std::size_t line = 0;
        while (line < file.size()) {
            const std::size_t end = file.find('\n', line);
            expect(end != std::string::npos, "a saved file ends its lines");
            if (file[line] == '[') {
                expect(file[end - 1] == ']', "a saved header ends in ]");
                sections.push_back(file.substr(line + 1, end - line - 2));
            }
            line = end + 1;
        }
        return sections;
    }

    Store contents(const iSettings& settings, const std::vector<std::string>& sections)
    {
        Store store;
        for (const std::string& section : sections) {
            iSettings::NameValuePairs pairs;
            settings.getMultipleValues(pairs, section.c_str());
            Values& values = store[section];
            for (const iSettings::NameValuePair& pair : pairs)
                values.emplace_back(pair.name.c_str() ? pair.name.c_str() : "", pair.value.c_str() ? pair.value.c_str() : "");
        }
        return store;
    }

    // A loaded name never holds a line end, so this change leaves no trace
    // but the store's wish to be saved.
    void persist(iSettings& settings)
    {
        settings.setValue("\n", "x", nullptr);
        settings.removeValue("\n", nullptr);
        settings.persist();
    }

    // What a save and a load keep of a store: lines "name=value" of 4 bytes
    // or more with their line end.
    Store readable(Store store)
    {
        for (auto& [section, values] : store)
            std::erase_if(values, [](const auto& value) { return value.first.size() + value.second.size() < 2; });
        std::erase_if(store, [](const auto& section) { return section.second.empty(); });
        return store;
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    home();
    const std::string path = storePath();
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), std::streamsize(size));
    }

    Settings first(iSettings::eUserSettings);
    persist(first);
    const std::string firstFile = readWhole(path);
    const std::vector<std::string> sections = sectionsOf(firstFile);
    const Store loaded = readable(contents(first, sections));

    Settings second(iSettings::eUserSettings);
    const Store reloaded = readable(contents(second, sections));
    expect(reloaded == loaded, "a persisted store loads as it was, less its short lines");
    persist(second);
    const std::string secondFile = readWhole(path);
    expect(sectionsOf(secondFile).size() <= sections.size(), "a reload makes no section");

    Settings third(iSettings::eUserSettings);
    expect(readable(contents(third, sections)) == reloaded, "a store that went through a save once is stable");
    return 0;
}
