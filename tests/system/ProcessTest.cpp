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
            guard = command == 'g' ? OS()->processMgr()->createMultiInstanceProcessGuard(name) : nullptr;
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

    // This program started again as a guard probe with the given home. Ends
    // when the object dies.
    class GuardProbe
    {
    public:
        GuardProbe(const ProbeHome& home, const std::string& name)
        {
            int commands[2], answers[2];
            if (pipe2(commands, O_CLOEXEC) != 0 || pipe2(answers, O_CLOEXEC) != 0)
                return;
            posix_spawn_file_actions_t actions;
            posix_spawn_file_actions_init(&actions);
            posix_spawn_file_actions_adddup2(&actions, commands[0], STDIN_FILENO);
            posix_spawn_file_actions_adddup2(&actions, answers[1], STDOUT_FILENO);
            std::vector<std::string> words = {"/usr/bin/env", "HOME=" + home.path,
                                              "XDG_CONFIG_HOME=" + home.path + "/config",
                                              "KVOS_GUARD_PROBE=" + name, ownExecutable()};
            std::vector<char*> arguments;
            for (std::string& word : words)
                arguments.push_back(word.data());
            arguments.push_back(nullptr);
            if (posix_spawn(&id, arguments[0], &actions, nullptr, arguments.data(), environ) != 0)
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

TEST(Process, LookUpsAndTheListFindTheTestItselfAndNothingElse)
{
    const std::string ownName = std::filesystem::path(ownExecutable()).filename();
    std::string ownNameInCapitals = ownName;
    std::transform(ownName.begin(), ownName.end(), ownNameInCapitals.begin(), ::toupper);
    iProcessManager* processes = OS()->processMgr();
    EXPECT_EQ(processes->getCurrentProcessID(), getpid());
    // Other copies of this program may run beside it: a name finds the first.
    ASSERT_TRUE(processes->getProcess(wide(ownName)));
    EXPECT_EQ(narrow(processes->getProcess(wide(ownName))->getName()), ownName);
    for (const Kv::Ptr<iProcess>& self : {processes->getCurrentProcess(), processes->getProcess(unsigned(getpid()))}) {
        ASSERT_TRUE(self);
        EXPECT_EQ(self->getID(), getpid());
        EXPECT_EQ(narrow(self->getName()), ownName);
    }
    std::vector<Kv::Ptr<iProcess>> nothing = {
        processes->getProcess(wide(ownNameInCapitals)), processes->getProcess(0u), processes->getProcess(0xFFFFFFFFu),
        processes->getProcess(L"no such program here"), processes->getProcess(LightweightString<wchar_t>())};
    // Kernel threads are root's, as these tests may be: only their kind keeps them out.
    std::ifstream kernelThread("/proc/2/comm");
    std::string kernelThreadName;
    if (std::getline(kernelThread, kernelThreadName) && kernelThreadName == "kthreadd")
        nothing.insert(nothing.end(), {processes->getProcess(2u), processes->getProcess(L"kthreadd")});
    for (size_t index = 0; index < nothing.size(); ++index)
        EXPECT_FALSE(nothing[index]) << "look-up " << index;

    const auto running = processes->getRunningProcesses();
    const auto self = std::find_if(running.begin(), running.end(), [](const auto& process) { return process.id == getpid(); });
    ASSERT_NE(self, running.end());
    EXPECT_EQ(narrow(self->executablePath), ownExecutable());
    EXPECT_EQ(narrow(self->name), ownName);
    EXPECT_TRUE(self->bundlePath.empty());
    for (const auto& process : running)
        EXPECT_FALSE(process.name.empty()) << process.id;
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
    EXPECT_EQ(first.ask('g'), '1');
    EXPECT_EQ(second.ask('g'), '0');
    EXPECT_EQ(first.ask('r'), 'r');
    EXPECT_EQ(second.ask('g'), '1');
    EXPECT_EQ(first.ask('g'), '0');
}

TEST(Process, AGuardNeedsAWritableDocumentsFolder)
{
    const std::string name = "kvosGuard";
    ProbeHome home;
    // Not even root can make a file in /proc.
    const std::pair<std::string, bool> cases[] = {{home.path, true}, {home.path + "/missing", false}, {"/proc", false}};
    for (const auto& [documents, writable] : cases) {
        home.setDocuments(documents);
        EXPECT_EQ(GuardProbe(home, name).ask('g'), writable ? '1' : '0') << documents;
        EXPECT_EQ(std::filesystem::exists(documents + "/." + name + ".thereCanBeOnlyOne"), writable) << documents;
    }
}
