// Settings written through the exports outlive the process that wrote them.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "loaded_library.h"
#include "test_environment.h"

using vireo2::test::LoadedLibrary;
using vireo2::test::TestEnvironment;

namespace {

using SetOptionFn = bool(const char*, const char*);
using GetOptionFn = const char*(const char*);

// Runs `body` in a child process that loads its own copy of the library.
template <typename Body>
int inChildProcess(const QString& libraryDir, Body body)
{
    const pid_t pid = fork();
    if (pid == 0) {
        int code = 1;
        try {
            LoadedLibrary lib(libraryDir);
            code = body(lib) ? 0 : 1;
        } catch (...) {
        }
        _exit(code);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(SettingsPersistence, ValuesSetInOneProcessAreReadInTheNext)
{
    TestEnvironment env;
    const QString libraryDir = env.root() + QStringLiteral("/host");
    QDir().mkpath(libraryDir);

    const int written = inChildProcess(libraryDir, [](LoadedLibrary& lib) {
        return lib.call<SetOptionFn>("SetOption", "connection_method", "TCP") &&
               lib.call<SetOptionFn>("SetOption", "device_ip_address", "127.0.0.1:45678") &&
               lib.call<SetOptionFn>("SetOption", "connection_attempts", "3");
    });
    ASSERT_EQ(written, 0);

    LoadedLibrary lib(libraryDir);
    EXPECT_EQ(std::string(lib.call<GetOptionFn>("GetOption", "connection_method")), "TCP");
    EXPECT_EQ(std::string(lib.call<GetOptionFn>("GetOption", "DEVICE_IP_ADDRESS")), "127.0.0.1:45678");
    EXPECT_EQ(std::string(lib.call<GetOptionFn>("GetOption", "connection_attempts")), "3");
    EXPECT_TRUE(QFileInfo::exists(env.dataDirectory() + QStringLiteral("Vireo2.ini")));
}

using GetLastErrorCodeFn = int();
using GetLastErrorStringFn = const char*();

// A settings file that cannot be written makes SetOption fail with the file
// named, instead of answering true for a value that is lost.
TEST(SettingsPersistence, AWriteThatDoesNotReachTheDiskFails)
{
    TestEnvironment env;
    const QString libraryDir = env.root() + QStringLiteral("/host");
    QDir().mkpath(libraryDir);
    // A directory where the settings file should be: no one can write it.
    QDir().mkpath(env.dataDirectory() + QStringLiteral("Vireo2.ini"));

    LoadedLibrary lib(libraryDir);
    EXPECT_FALSE(lib.call<SetOptionFn>("SetOption", "device_ip_address", "127.0.0.1:45678"));
    EXPECT_EQ(lib.call<GetLastErrorCodeFn>("GetLastErrorCode"), 0x5020);
    EXPECT_EQ(std::string(lib.call<GetLastErrorStringFn>("GetLastErrorString")),
              "FAILED setSettingOption: Unable to write " + (env.dataDirectory() + "Vireo2.ini").toStdString());
}

// A "Data/Path" that cannot be used is named once in the log together with
// the directory used instead; a comma makes Qt read the value as a list.
TEST(SettingsPersistence, AnUnusableDataPathIsLoggedWithItsFallback)
{
    for (const QString& badPath : {QStringLiteral("/dev/null/below-a-file"), QStringLiteral("/tmp/a,b")}) {
        TestEnvironment env;
        const QString libraryDir = env.root() + QStringLiteral("/host");
        QDir().mkpath(libraryDir);
        // Written by hand, as a person edits the file: an unquoted comma.
        QFile ini(libraryDir + QStringLiteral("/spectro.ini"));
        ASSERT_TRUE(ini.open(QIODevice::WriteOnly));
        ini.write("[Data]\nPath=" + badPath.toUtf8() + "\n");
        ini.close();
        {
            LoadedLibrary lib(libraryDir);
            EXPECT_TRUE(lib.call<SetOptionFn>("SetOption", "connection_attempts", "2"));
        }
        EXPECT_TRUE(QFileInfo::exists(env.dataDirectory() + QStringLiteral("Vireo2.ini"))) << badPath.toStdString();
        const QString log = TestEnvironment::readFile(env.logFile());
        EXPECT_EQ(log.count(QStringLiteral("Data/Path \"")), 1) << log.toStdString();
        EXPECT_TRUE(log.contains(QStringLiteral("using ") + env.dataDirectory())) << log.toStdString();
    }
}

} // namespace
