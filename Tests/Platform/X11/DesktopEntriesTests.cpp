#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "PlatformX11/DesktopEntries.h"
#include "Support/TemporaryFolder.h"

namespace nimbe {
namespace {

struct DesktopEntriesTest : testing::Test {
    const TemporaryFolder home;
    const TemporaryFolder system;

    static void write(
        const TemporaryFolder& folder, const std::string& id, const std::string& keys) {
        const auto file = folder.path / "applications" / (id + ".desktop");
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file) << "[Desktop Entry]\nType=Application\n" << keys;
    }
    [[nodiscard]] std::string name(
        const DesktopEntries::Program& program, const std::string& locale = "C") const {
        return DesktopEntries::read({home.path, system.path, "/nowhere"}, locale)
            .name(program)
            .value_or("none");
    }
};

} // namespace

TEST_F(DesktopEntriesTest, theCloserKinshipWins) {
    write(system, "org.maker.Writer", "Name=By Id\nExec=/usr/bin/writer-bin %U\n");
    write(system, "a-class", "Name=By Class\nStartupWMClass=Sheet\nExec=sheet\n");
    write(system, "settings", "Name=Settings\nExec=writer-bin --settings\n");
    write(system, "page", "Name=Page\nStartupWMClass=crx_1\nExec=browser --app=1\n");
    write(system, "browser", "Name=Browser\nExec=env LANG=C \"/opt/a b/browser\" %u\n");
    write(system, "script", "Name=Script\nExec=python3 /opt/other.py\n");
    write(system, "hidden-way", "Name=Hidden Way\nExec=secret\nNoDisplay=true\n");
    write(system, "sub/inner", "Name=In a Folder\nExec=sh -c true\n");
    write(system, "not", "Name=Broken\nExec=\"unclosed\n");
    const struct {
        const char* why;
        DesktopEntries::Program program;
        const char* expected;
    } cases[] = {
        {"StartupWMClass", {"", "sheet", ""}, "By Class"},
        {"the instance of a program with many", {"crx_1", "Browser", "browser"}, "Page"},
        {"the class otherwise", {"main", "Browser", ""}, "Browser"},
        {"the whole id", {"", "org.maker.Writer", ""}, "By Id"},
        {"the last part of the id", {"writer", "", ""}, "By Id"},
        {"the program, started without options", {"writer-bin", "", ""}, "By Id"},
        {"the process", {"x", "y", "writer-bin"}, "By Id"},
        {"an interpreter says nothing", {"", "", "python3"}, "none"},
        {"nor does a shell", {"sh", "", ""}, "none"},
        {"what menus hide is known by its id", {"", "hidden-way", ""}, "Hidden Way"},
        {"but not by its program", {"", "secret", ""}, "none"},
        {"in a folder", {"", "sub-inner", ""}, "In a Folder"},
        {"a broken command still has a name", {"", "not", ""}, "Broken"},
        {"unknown", {"a", "b", "c"}, "none"},
        {"empty", {}, "none"},
    };
    for (const auto& c : cases) EXPECT_EQ(name(c.program), c.expected) << c.why;
}

TEST_F(DesktopEntriesTest, namesAreInTheUsersLanguage) {
    write(system, "editor",
        "Name=Editor\nName[de]=Schreiber\nName[de_AT]=Schreiberl\nName[ru]=Редактор\n");
    const struct {
        const char* locale;
        const char* expected;
    } cases[] = {{"de_AT.UTF-8", "Schreiberl"}, {"de_DE.UTF-8", "Schreiber"}, {"ru_RU", "Редактор"},
        {"fr_FR", "Editor"}, {"C", "Editor"}};
    for (const auto& c : cases)
        EXPECT_EQ(name({"editor", "", ""}, c.locale), c.expected) << c.locale;
}

TEST_F(DesktopEntriesTest, theUsersOwnFilesComeFirst) {
    write(system, "editor", "Name=Theirs\nStartupWMClass=editor\n");
    write(home, "editor", "Name=Mine\n");
    EXPECT_EQ(name({"editor", "", ""}), "Mine");
    write(home, "editor", "Name=Mine\nHidden=true\n");
    EXPECT_EQ(name({"editor", "", ""}), "none") << "removed by the user";
}

TEST_F(DesktopEntriesTest, damagedFilesAreLeftOut) {
    const auto folder = system.path / "applications";
    write(system, "good", "Name=Good\n");
    write(system, "nameless", "Exec=nameless\n");
    write(system, "bytes", "Name=\xff\xfe\n");
    write(system, "link", "Type=Link\nName=Link\n");
    std::ofstream(folder / "binary.desktop") << std::string("\0\1\2[", 4);
    std::ofstream(folder / "huge.desktop") << "[Desktop Entry]\nType=Application\nName=Huge\n"
                                           << std::string(2'000'000, '#');
    std::filesystem::create_symlink("loop.desktop", folder / "loop.desktop");
    std::filesystem::create_directory(folder / "folder.desktop");
    const auto entries = DesktopEntries::read({system.path}, "C");
    EXPECT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries.name({"good", "", ""}), "Good");
}

} // namespace nimbe
