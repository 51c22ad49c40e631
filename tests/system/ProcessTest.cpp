#include "OS.h"
#include "Process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace
{
    using namespace std::chrono_literals;

    // Started again with KVOS_GUARD_PROBE set, this program is a second process
    // for the guard tests and never reaches the tests: it reads commands on
    // standard input ('g' takes the guard of that name, 'r' releases it),
    // answers each with one byte on standard output, and ends when its input
    // closes.
    [[maybe_unused]] const bool guardProbe = [] {
        const char* name = std::getenv("KVOS_GUARD_PROBE");
        if (!name)
            return false;
        Kv::Ptr<iObject> guard;
        char command = 0;
        while (read(STDIN_FILENO, &command, 1) == 1) {
            if (command == 'g')
                guard = OS()->processMgr()->createMultiInstanceProcessGuard(name);
            else
                guard = nullptr;
            const char answer = command == 'g' ? (guard ? '1' : '0') : 'r';
            if (write(STDOUT_FILENO, &answer, 1) != 1)
                break;
        }
        std::_Exit(0);
    }();

    std::string ownExecutable() { return std::filesystem::read_symlink("/proc/self/exe"); }

    std::string narrow(const LightweightString<wchar_t>& text) { return OS()->utils()->toUTF8(text).c_str(); }

    LightweightString<wchar_t> wide(const std::string& text) { return OS()->utils()->fromUTF8(text.c_str(), -1); }

    bool isListed(int id)
    {
        const auto running = OS()->processMgr()->getRunningProcesses();
        return std::any_of(running.begin(), running.end(), [id](const auto& process) { return process.id == id; });
    }

    bool waitFor(const std::function<bool()>& condition)
    {
        for (auto deadline = std::chrono::steady_clock::now() + 10s; std::chrono::steady_clock::now() < deadline;
             std::this_thread::sleep_for(10ms))
            if (condition())
                return true;
        return condition();
    }

    // A home of its own, whose Documents folder is whatever a test names.
    class ProbeHome
    {
    public:
        ProbeHome()
        {
            char pattern[] = "/tmp/kvos_process_XXXXXX";
            if (mkdtemp(pattern))
                path = pattern;
            std::filesystem::create_directories(path + "/config");
        }
        ~ProbeHome() { std::filesystem::remove_all(path); }
        ProbeHome(const ProbeHome&) = delete;
        ProbeHome& operator=(const ProbeHome&) = delete;

        void setDocuments(const std::string& folder) const
        {
            std::ofstream(path + "/config/user-dirs.dirs") << "XDG_DOCUMENTS_DIR=\"" << folder << "\"\n";
        }

        std::string path;
    };

    bool isProbeSetting(const char* entry)
    {
        for (const char* name : {"HOME=", "XDG_CONFIG_HOME=", "KVOS_GUARD_PROBE="})
            if (std::strncmp(entry, name, std::strlen(name)) == 0)
                return true;
        return false;
    }

    // This program started again as a guard probe with the given home. Ends
    // when the object dies.
    class GuardProbe
    {
    public:
        GuardProbe(const ProbeHome& home, const std::string& name)
        {
            std::vector<std::string> settings = {"HOME=" + home.path, "XDG_CONFIG_HOME=" + home.path + "/config",
                                                 "KVOS_GUARD_PROBE=" + name};
            for (char** entry = environ; *entry; ++entry)
                if (!isProbeSetting(*entry))
                    settings.push_back(*entry);
            std::vector<char*> environment;
            for (std::string& setting : settings)
                environment.push_back(setting.data());
            environment.push_back(nullptr);

            int commands[2], answers[2];
            if (pipe2(commands, O_CLOEXEC) != 0 || pipe2(answers, O_CLOEXEC) != 0)
                return;
            posix_spawn_file_actions_t actions;
            posix_spawn_file_actions_init(&actions);
            posix_spawn_file_actions_adddup2(&actions, commands[0], STDIN_FILENO);
            posix_spawn_file_actions_adddup2(&actions, answers[1], STDOUT_FILENO);
            std::string program = ownExecutable();
            char* arguments[] = {program.data(), nullptr};
            if (posix_spawn(&id, program.c_str(), &actions, nullptr, arguments, environment.data()) != 0)
                id = -1;
            posix_spawn_file_actions_destroy(&actions);
            close(commands[0]);
            close(answers[1]);
            toProbe = commands[1];
            fromProbe = answers[0];
        }

        ~GuardProbe()
        {
            close(toProbe);
            close(fromProbe);
            if (id > 0)
                waitpid(id, nullptr, 0);
        }
        GuardProbe(const GuardProbe&) = delete;
        GuardProbe& operator=(const GuardProbe&) = delete;

        // The probe's answer, or 'x' when it gave none in time.
        char ask(char command)
        {
            pollfd answer{fromProbe, POLLIN, 0};
            char reply = 'x';
            if (write(toProbe, &command, 1) != 1 || poll(&answer, 1, 10000) != 1 || read(fromProbe, &reply, 1) != 1)
                return 'x';
            return reply;
        }

    private:
        pid_t id = -1;
        int toProbe = -1;
        int fromProbe = -1;
    };
}

TEST(Process, LookUpsFindTheTestItselfAndNothingElse)
{
    const std::string ownName = std::filesystem::path(ownExecutable()).filename();
    std::string ownNameInCapitals = ownName;
    std::transform(ownName.begin(), ownName.end(), ownNameInCapitals.begin(), ::toupper);
    iProcessManager* processes = OS()->processMgr();
    struct Lookup
    {
        const char* what;
        std::function<Kv::Ptr<iProcess>()> find;
        bool found;
    };
    std::vector<Lookup> lookups = {
        {"current process", [&] { return processes->getCurrentProcess(); }, true},
        {"own id", [&] { return processes->getProcess(unsigned(getpid())); }, true},
        {"own name", [&] { return processes->getProcess(wide(ownName)); }, true},
        {"own name in capitals", [&] { return processes->getProcess(wide(ownNameInCapitals)); }, false},
        {"unknown id", [&] { return processes->getProcess(0u); }, false},
        {"id past the largest", [&] { return processes->getProcess(0xFFFFFFFFu); }, false},
        {"unknown name", [&] { return processes->getProcess(L"no such program here"); }, false},
        {"empty name", [&] { return processes->getProcess(LightweightString<wchar_t>()); }, false},
    };
    // Kernel threads are root's, as these tests may be: only their kind keeps them out.
    std::ifstream kernelThread("/proc/2/comm");
    std::string kernelThreadName;
    if (std::getline(kernelThread, kernelThreadName) && kernelThreadName == "kthreadd") {
        lookups.push_back({"kernel thread by id", [&] { return processes->getProcess(2u); }, false});
        lookups.push_back({"kernel thread by name", [&] { return processes->getProcess(L"kthreadd"); }, false});
    }

    for (const Lookup& lookup : lookups) {
        const Kv::Ptr<iProcess> process = lookup.find();
        ASSERT_EQ(bool(process), lookup.found) << lookup.what;
        if (process) {
            EXPECT_EQ(narrow(process->getName()), ownName) << lookup.what;
            // Other copies of this program may run beside it: a name finds the first.
            if (std::strcmp(lookup.what, "own name") != 0) {
                EXPECT_EQ(process->getID(), getpid()) << lookup.what;
            }
        }
    }
    EXPECT_EQ(processes->getCurrentProcessID(), getpid());
}

TEST(Process, TheListDescribesTheTestItself)
{
    const auto running = OS()->processMgr()->getRunningProcesses();
    const auto self = std::find_if(running.begin(), running.end(),
                                   [](const auto& process) { return process.id == getpid(); });
    ASSERT_NE(self, running.end());
    EXPECT_EQ(narrow(self->executablePath), ownExecutable());
    EXPECT_EQ(narrow(self->name), std::filesystem::path(ownExecutable()).filename().string());
    EXPECT_TRUE(self->bundlePath.empty());
    for (const auto& process : running) {
        EXPECT_GT(process.id, 0);
        EXPECT_FALSE(process.name.empty()) << process.id;
    }
}

TEST(Process, ASpawnedChildAppearsAndDisappears)
{
    const Kv::Ptr<iProcess> child = Process::create(L"/bin/sleep", L"30");
    ASSERT_TRUE(child);
    const int id = child->getID();
    EXPECT_TRUE(isListed(id));
    EXPECT_EQ(narrow(child->getName()), "sleep");
    const Kv::Ptr<iProcess> found = OS()->processMgr()->getProcess(unsigned(id));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->getID(), id);

    ASSERT_EQ(kill(id, SIGKILL), 0);
    EXPECT_TRUE(waitFor([&] { return !isListed(id); }));
    EXPECT_FALSE(OS()->processMgr()->getProcess(unsigned(id)));
    EXPECT_TRUE(waitFor([&] { return child->getName().empty(); })) << "nothing lingers once it is collected";
}

TEST(Process, ProgramsThatCannotStartGiveNull)
{
    for (const wchar_t* program : {L"/no/such/program", L"/etc/passwd", L"/tmp", L""})
        EXPECT_FALSE(Process::create(program, L"/tmp")) << program;
}

TEST(Process, ListingWhileProcessesComeAndGo)
{
    std::atomic<bool> done = false;
    std::thread churn([&] {
        while (!done)
            Process::create(L"/bin/true", L"");
    });
    for (int round = 0; round < 50; ++round)
        ASSERT_TRUE(isListed(getpid())) << round;
    done = true;
    churn.join();
}

TEST(Process, AGuardKeepsOutOtherProcessesUntilReleased)
{
    ProbeHome home;
    home.setDocuments(home.path);
    const std::string name = "kvosProcessTest" + std::to_string(getpid());
    GuardProbe first(home, name), second(home, name);
    struct Step
    {
        GuardProbe& probe;
        char command;
        char answer;
    };
    const Step steps[] = {
        {first, 'g', '1'}, {second, 'g', '0'}, {first, 'r', 'r'}, {second, 'g', '1'}, {first, 'g', '0'},
    };
    for (size_t index = 0; index < std::size(steps); ++index)
        EXPECT_EQ(steps[index].probe.ask(steps[index].command), steps[index].answer) << "step " << index;
}

TEST(Process, AGuardNeedsAWritableDocumentsFolder)
{
    const std::string name = "kvosGuard";
    struct Case
    {
        const char* what;
        std::function<std::string(const std::string& home)> documents;
        char answer;
    };
    const Case cases[] = {
        {"writable", [](const std::string& home) { return home; }, '1'},
        {"missing", [](const std::string& home) { return home + "/missing"; }, '0'},
        // Not even root can make a file there.
        {"unwritable", [](const std::string&) { return std::string("/proc"); }, '0'},
    };
    for (const Case& test : cases) {
        ProbeHome home;
        const std::string documents = test.documents(home.path);
        home.setDocuments(documents);
        GuardProbe probe(home, name);
        EXPECT_EQ(probe.ask('g'), test.answer) << test.what;
        EXPECT_EQ(std::filesystem::exists(documents + "/." + name + ".thereCanBeOnlyOne"), test.answer == '1')
            << test.what;
    }
}
