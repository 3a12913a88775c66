// Entry point of every test executable.
//
// Before anything reads the environment, the process gets a private HOME and
// XDG tree under a temporary folder: no test may read or write the settings,
// data or autostart entries of the user who runs the suite.

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdlib>

#if defined(__SANITIZE_THREAD__)
// QProcess starts its children with a vfork-style clone, which ThreadSanitizer
// takes for a fork of this very process and then refuses its next thread. The
// suppressions are those of the test script, so that a plain ctest run reads
// the same; the runtime looks this up by name, so it must be visible.
// TSAN_OPTIONS from the environment still has the last word.
extern "C" __attribute__((visibility("default"), used)) const char* __tsan_default_options()
{
    return "die_after_fork=0:suppressions=" SYNCCORE_SOURCE_DIR "/tests/tsan.supp";
}
#endif

int main(int argc, char** argv)
{
    QTemporaryDir home(QDir::tempPath() + QStringLiteral("/synccorehome-XXXXXX"));
    if (!home.isValid())
        return 2;
    const QByteArray root = QFile::encodeName(home.path());
    const struct
    {
        const char* name;
        const char* sub;
    } vars[] = {
        { "HOME", "" },
        { "XDG_CONFIG_HOME", "/.config" },
        { "XDG_DATA_HOME", "/.local/share" },
        { "XDG_CACHE_HOME", "/.cache" },
        { "XDG_STATE_HOME", "/.local/state" },
        { "XDG_RUNTIME_DIR", "/runtime" },
    };
    for (const auto& v : vars) {
        const QByteArray dir = root + v.sub;
        QDir().mkpath(QFile::decodeName(dir));
        ::setenv(v.name, dir.constData(), 1);
    }
    QFile::setPermissions(QFile::decodeName(root + "/runtime"),
        QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);

    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
