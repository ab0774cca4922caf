#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "PlatformDesktop/XdgLoginItem.h"
#include "Support/Process.h"
#include "Support/TemporaryFolder.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;

struct XdgLoginItemTest : testing::Test {
    TemporaryFolder folder;
    FakeLogSink log;
    XdgLoginItem::Places places{folder.path / "config",
        {folder.path / "xdg-first", folder.path / "xdg"}, folder.path / "bin" / "nimbe"};
    fs::path entry = folder.path / "config/autostart/com.nimbehq.Nimbe.desktop";
    fs::path systemEntry = folder.path / "xdg/autostart/com.nimbehq.Nimbe.desktop";

    static void write(const fs::path& file, const std::string& text) {
        fs::create_directories(file.parent_path());
        std::ofstream(file) << text;
    }
    static std::string read(const fs::path& file) {
        std::ostringstream text;
        text << std::ifstream(file).rdbuf();
        return text.str();
    }
    [[nodiscard]] XdgLoginItem item() { return {places, log}; }
};

} // namespace

TEST_F(XdgLoginItemTest, whatItWritesStartsTheProgramWhereverItIs) {
    for (const char* name : {"plain", "two words", "it's \"quoted\"", "100% $HOME `x` \\n \\\\",
             "%f%%", "žluťoučký kůň", "a;b&c|d>e"}) {
        places.program = folder.path / name / "nimbe";
        // The program writes down what it was given.
        write(places.program, "#!/bin/sh\nprintf '%s' \"$#:$1\" > \"$0.started\"\n");
        fs::permissions(places.program, fs::perms(0755));
        ASSERT_TRUE(item().setEnabled(true)) << name << log.all();
        EXPECT_TRUE(item().isEnabled()) << name;
        // What desktops start entries with.
        const auto launched = Process::run({"/usr/bin/gio", "launch", entry}, "");
        EXPECT_EQ(launched.exitCode, 0) << name << launched.error;
        const fs::path started = places.program.native() + ".started";
        for (int i = 0; i < 200 && read(started).empty(); ++i)
            (void)Process::run({"/bin/sleep", "0.02"}, "");
        EXPECT_EQ(read(started), "1:--hidden") << name << "\n" << read(entry);
        const auto valid = Process::run({"/usr/bin/desktop-file-validate", entry}, "");
        EXPECT_EQ(valid.exitCode, 0) << valid.output << read(entry);
        EXPECT_TRUE(item().setEnabled(false));
        EXPECT_FALSE(fs::exists(entry));
    }
    for (const char* name : {"a=b", "latin \xE9", "tab\t", "line\n"}) {
        places.program = folder.path / name / "nimbe";
        EXPECT_FALSE(item().setEnabled(true)) << name;
        EXPECT_FALSE(fs::exists(entry));
    }
}

TEST_F(XdgLoginItemTest, theStateIsWhatTheDesktopMakesOfTheEntries) {
    const std::string on = "[Desktop Entry]\nType=Application\nName=N\nExec=nimbe\n";
    struct Case {
        const char* why;
        std::string ours;
        std::string system;
        bool isEnabled;
    };
    const Case cases[] = {
        {"nothing", "", "", false},
        {"an entry by hand", on, "", true},
        {"hidden by the desktop's settings", on + "Hidden=true\n", "", false},
        {"said not to be", on + "Hidden=false\n", "", true},
        {"disabled in GNOME", on + "X-GNOME-Autostart-enabled=false\n", "", false},
        {"disabled in MATE", on + "X-MATE-Autostart-enabled=false\n", "", false},
        {"damaged", "[Desktop Ent", "", false},
        {"nothing to start", "[Desktop Entry]\nType=Application\nName=N\n", "", false},
        {"the system's", "", on, true},
        {"the system's, hidden", "", on + "Hidden=true\n", false},
        {"ours beats the system's", on + "Hidden=true\n", on, false},
    };
    for (const auto& c : cases) {
        fs::remove_all(folder.path / "config");
        fs::remove_all(folder.path / "xdg");
        if (!c.ours.empty()) write(entry, c.ours);
        if (!c.system.empty()) write(systemEntry, c.system);
        EXPECT_EQ(item().isEnabled(), c.isEnabled) << c.why;
        // From any state both ways.
        for (const bool wanted : {!c.isEnabled, c.isEnabled}) {
            EXPECT_TRUE(item().setEnabled(wanted)) << c.why << log.all();
            EXPECT_EQ(item().isEnabled(), wanted) << c.why << read(entry);
        }
        EXPECT_EQ(read(systemEntry), c.system) << c.why;
    }
}

TEST_F(XdgLoginItemTest, anEntryFollowsTheProgramThatMoved) {
    const auto old = folder.path / "old 100%" / "nimbe";
    places.program = old;
    ASSERT_TRUE(item().setEnabled(true));
    write(entry, "# mine\n" + read(entry) + "Name[de]=Nimbe!\n");
    write(old, "#!/bin/sh\n");
    const auto before = read(entry);
    places.program = folder.path / "new" / "nimbe";
    item().followProgram();
    EXPECT_EQ(read(entry), before) << "the other copy is there";

    fs::remove(old);
    item().followProgram();
    const auto after = read(entry);
    EXPECT_NE(after.find("Exec=\"" + places.program.string() + "\" --hidden\n"), after.npos);
    EXPECT_NE(after.find("# mine\n"), after.npos) << after;
    EXPECT_NE(after.find("Name[de]=Nimbe!\n"), after.npos);

    write(entry, "[Desktop Entry]\nExec=/gone/nimbe\nHidden=true\n");
    item().followProgram();
    EXPECT_EQ(read(entry), "[Desktop Entry]\nExec=/gone/nimbe\nHidden=true\n") << "off stays";
    fs::remove(entry);
    item().followProgram();
    EXPECT_FALSE(fs::exists(entry));
}

TEST_F(XdgLoginItemTest, whatCannotBeIsSaid) {
    write(folder.path / "config", "a file where the folder should be");
    EXPECT_FALSE(item().setEnabled(true));
    EXPECT_TRUE(log.has(LogLevel::error, "cannot be written")) << log.all();
    fs::remove(folder.path / "config");

    ASSERT_TRUE(item().setEnabled(true));
    places.isPortable = true;
    EXPECT_FALSE(item().isEnabled()) << "no desktop reads it there";
    EXPECT_FALSE(item().setEnabled(true));
    EXPECT_TRUE(log.has(LogLevel::error, "NIMBE_HOME"));
}

} // namespace nimbe
