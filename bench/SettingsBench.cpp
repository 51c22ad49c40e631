#include "OS.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
    constexpr unsigned kSections = 10;
    constexpr unsigned kValuesPerSection = 1000;
    constexpr unsigned kValues = kSections * kValuesPerSection;

    // The stores live in "<home>/<application>/Preferences/". The
    // application's folder is made for the run and goes, with all in it, at
    // exit; one already there holds someone's settings and is left alone.
    class SettingsFolder
    {
    public:
        SettingsFolder()
            : path(OS()->utils()
                       ->toUTF8(OS()->shell()->getFolderLocation(iShell::eSettingsBase) +
                                OS()->fileMgr()->getAppDescription())
                       .c_str()),
              made(mkdir(path.c_str(), 0755) == 0)
        {
        }

        ~SettingsFolder()
        {
            std::error_code ignored;
            if (made)
                std::filesystem::remove_all(path, ignored);
        }

        SettingsFolder(const SettingsFolder&) = delete;
        SettingsFolder& operator=(const SettingsFolder&) = delete;

        const std::string path;
        const bool made;
    };

    const SettingsFolder& settingsFolder()
    {
        static const SettingsFolder folder;
        return folder;
    }

    bool settingsFolderReady(benchmark::State& state)
    {
        if (!settingsFolder().made)
            state.SkipWithError(("refusing to touch an existing " + settingsFolder().path).c_str());
        return settingsFolder().made;
    }

    std::string sectionName(unsigned section) { return "Project" + std::to_string(section); }

    std::string valueName(unsigned index)
    {
        char name[16];
        std::snprintf(name, sizeof name, "value_%04u", index);
        return name;
    }

    // Paths, as an editor keeps most: recent media, export targets.
    std::string valueText(unsigned section, unsigned index)
    {
        char text[64];
        std::snprintf(text, sizeof text, "/media/footage/Scene_%02u/take_%04u.mov", section, index);
        return text;
    }

    unsigned countValues(const Kv::Ptr<iSettings>& store)
    {
        unsigned count = 0;
        for (unsigned section = 0; section < kSections; ++section) {
            iSettings::NameValuePairs pairs;
            store->getMultipleValues(pairs, sectionName(section).c_str());
            count += unsigned(pairs.size());
        }
        return count;
    }

    // Writeback of what persist() wrote is forced here, so that it does not
    // land in whichever benchmark runs next.
    void flushSettingsFolder()
    {
        const int folder = open(settingsFolder().path.c_str(), O_RDONLY | O_DIRECTORY);
        if (folder == -1)
            return;
        syncfs(folder);
        close(folder);
    }

    // The user store, filled once for the whole run; every persist writes all
    // 10,000 values, one of them changed so that the store has something to save.
    void BM_SettingsPersist(benchmark::State& state)
    {
        if (!settingsFolderReady(state))
            return;
        Kv::Ptr<iSettings> store = OS()->shell()->getSettings(iSettings::eUserSettings);
        static const bool filled = [&store] {
            for (unsigned section = 0; section < kSections; ++section)
                for (unsigned index = 0; index < kValuesPerSection; ++index)
                    store->setValue(valueName(index).c_str(), valueText(section, index).c_str(),
                                    sectionName(section).c_str());
            return countValues(store) == kValues;
        }();
        if (!filled) {
            state.SkipWithError("the store did not take 10,000 values");
            return;
        }
        const std::string first = sectionName(0);
        unsigned changes = 0;
        for (auto _ : state) {
            store->setValue("value_0000", ++changes % 2 ? "/media/a.mov" : "/media/b.mov", first.c_str());
            store->persist();
        }
        flushSettingsFolder();

        std::ifstream file(settingsFolder().path + "/Preferences/UserSettings.txt");
        unsigned lines = 0;
        for (std::string line; std::getline(file, line);)
            lines += line.find('=') != std::string::npos;
        if (lines != kValues)
            state.SkipWithError("the file does not hold the 10,000 values");
        state.SetItemsProcessed(std::int64_t(state.iterations()) * kValues);
    }

    bool writeGlobalFile()
    {
        const std::string folder = settingsFolder().path + "/Preferences";
        mkdir(folder.c_str(), 0755);
        std::ofstream file(folder + "/GlobalSettings.txt");
        for (unsigned section = 0; section < kSections; ++section) {
            file << '[' << sectionName(section) << "]\n";
            for (unsigned index = 0; index < kValuesPerSection; ++index)
                file << valueName(index) << '=' << valueText(section, index) << '\n';
            file << '\n';
        }
        return bool(file.flush());
    }

    // A store reads its file once, when the shell first hands it out, and the
    // shell keeps it for the process: through the public interface a run can
    // time one load, of the global store, which nothing else here opens.
    void BM_SettingsLoad(benchmark::State& state)
    {
        if (!settingsFolderReady(state))
            return;
        if (!writeGlobalFile()) {
            state.SkipWithError("the settings file could not be written");
            return;
        }
        flushSettingsFolder();
        Kv::Ptr<iSettings> store;
        for (auto _ : state)
            store = OS()->shell()->getSettings(iSettings::eGlobalSettings);
        if (countValues(store) != kValues)
            state.SkipWithError("the global store was not loaded from the 10,000 values");
        state.SetItemsProcessed(kValues);
    }
}

BENCHMARK(BM_SettingsPersist)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SettingsLoad)->Repetitions(1)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
