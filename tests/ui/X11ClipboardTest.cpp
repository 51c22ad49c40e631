#include "X11Clipboard.h"
#include "MainLoop.h"
#include "X11Application.h"
#include "XvfbServer.h"
#include "iOperatingSystem.h"
#include "iShell.h"
#include "iUtils.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <glib.h>
#include <string>
#include <thread>
// Last: Xlib's macros would clash with the names above.
#include <X11/Xlib.h>

namespace
{
    bool hasXclip()
    {
        gchar* path = g_find_program_in_path("xclip");
        g_free(path);
        return path != nullptr;
    }

#define REQUIRE_XCLIP() REQUIRE_HOST(hasXclip(), "xclip")

    std::wstring wide(const std::string& text)
    {
        return OS()->utils()->fromUTF8(text.c_str(), -1).c_str();
    }

    std::string narrow(const LightweightString<wchar_t>& text) { return OS()->utils()->toUTF8(text).c_str(); }

    // A mixture of one- to four-byte characters, of about that many bytes.
    std::string textOf(size_t bytes)
    {
        const std::string pattern = "Reel \xC3\xA9t\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x8E\xAC\n";
        std::string text;
        while (text.size() + pattern.size() <= bytes)
            text += pattern;
        return text;
    }

    std::string runXclipOut()
    {
        std::string output;
        FILE* xclip = popen("timeout 10 xclip -selection clipboard -o", "r");
        if (!xclip)
            return output;
        char buffer[65536];
        size_t read = 0;
        while ((read = fread(buffer, 1, sizeof buffer, xclip)) > 0)
            output.append(buffer, read);
        pclose(xclip);
        return output;
    }
}

TEST(X11Clipboard, TextGoesBothWaysWithXclipUpToAMebibyte)
{
    REQUIRE_XVFB(XvfbServer::shared());
    REQUIRE_XCLIP();
    iShell* shell = OS()->shell();
    for (const size_t size : {size_t(40), size_t(1) << 20}) {
        SCOPED_TRACE(size);
        const std::string text = textOf(size);

        // Served from the loop while xclip reads.
        ASSERT_TRUE(shell->setClipboardText(wide(text).c_str()));
        std::string read;
        std::atomic<bool> done = false;
        std::thread reader([&] {
            read = runXclipOut();
            done = true;
        });
        EXPECT_TRUE(runLoopUntil([&] { return done.load(); }, 15000));
        reader.join();
        EXPECT_EQ(read.size(), text.size());
        EXPECT_TRUE(read == text);

        // xclip stays to serve until the clipboard is taken back.
        const std::string file = std::string(g_get_tmp_dir()) + "/kvos-clipboard-test.txt";
        std::ofstream(file, std::ios::binary) << text.substr(0, text.size() - 1) << "\xE2\x9C\x93";
        const std::string expected = text.substr(0, text.size() - 1) + "\xE2\x9C\x93";
        ASSERT_EQ(std::system(("xclip -selection clipboard -i " + file).c_str()), 0);
        std::string got;
        EXPECT_TRUE(runLoopUntil([&] { return (got = narrow(shell->getClipboardText())) == expected; }, 10000));
        EXPECT_EQ(got.size(), expected.size());
        std::remove(file.c_str());
    }
    shell->setClipboardText(L"");
    runLoopFor(100);
}

TEST(X11Clipboard, AnOwnerThatNeverAnswersGivesEmptyTextInBoundedTime)
{
    REQUIRE_XVFB(XvfbServer::shared());
    OS()->shell()->setClipboardText(L"ours");
    runLoopFor(50);
    Display* silent = XOpenDisplay(nullptr);
    ASSERT_NE(silent, nullptr);
    const Window window = XCreateSimpleWindow(silent, DefaultRootWindow(silent), 0, 0, 1, 1, 0, 0, 0);
    XSetSelectionOwner(silent, XInternAtom(silent, "CLIPBOARD", False), window, CurrentTime);
    XSync(silent, False);
    // The library hears that it lost the selection.
    runLoopFor(100);

    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(narrow(OS()->shell()->getClipboardText()), "");
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, X11Clipboard::kAnswerWait);
    EXPECT_LT(waited, X11Clipboard::kAnswerWait + std::chrono::seconds(1));
    XCloseDisplay(silent);

    // With the owner gone the library's own text is served again.
    OS()->shell()->setClipboardText(L"again");
    runLoopFor(50);
    EXPECT_EQ(narrow(OS()->shell()->getClipboardText()), "again");
}
