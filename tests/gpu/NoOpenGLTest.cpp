#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <sys/wait.h>

// With the EGL driver hidden, the library says once why OpenGL cannot start,
// and every GPU operation answers without a crash.
TEST(NoOpenGL, EveryGPUOperationAnswersAndTheReasonIsLoggedOnce)
{
    FILE* probe = ::popen("__EGL_VENDOR_LIBRARY_FILENAMES=/nonexistent '" KVOS_NO_OPENGL_PROBE "' 2>&1", "r");
    ASSERT_NE(probe, nullptr);
    std::string output;
    char buffer[4096];
    for (std::size_t got; (got = std::fread(buffer, 1, sizeof buffer, probe)) > 0;)
        output.append(buffer, got);
    const int status = ::pclose(probe);
    ASSERT_TRUE(WIFEXITED(status)) << output;
    EXPECT_EQ(WEXITSTATUS(status), 0) << output;
    const std::size_t reason = output.find("OpenGL cannot start: ");
    EXPECT_NE(reason, std::string::npos) << output;
    EXPECT_EQ(output.find("OpenGL cannot start", reason + 1), std::string::npos) << output;
    EXPECT_NE(output.find("done: texture 0\n"), std::string::npos) << output;
}
