#include <fstream>

#include <gtest/gtest.h>

#include "Fakes/FakeFolderPicker.h"
#include "Fakes/FakeLogSink.h"
#include "Fakes/ManualMainActor.h"
#include "Fakes/MemoryUserDefaults.h"
#include "NimbeApp/ObsidianExporter.h"
#include "PlatformStorage/AtomicFileWriter.h"
#include "Support/TemporaryFolder.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;

DictationEntry entryOf(const char* id, std::string text) {
    return {UUID::parse(id).value(), std::move(text), Date{}, DictationMode::notes};
}

struct ObsidianExporterTest : testing::Test {
    TemporaryFolder folder;
    ManualMainActor actor;
    MemoryUserDefaults defaults;
    FakeFolderPicker picker;
    AtomicFileWriter files;
    FakeLogSink log;
    std::shared_ptr<ObsidianExporter> exporter = create();
    std::vector<DictationEntry> entries{
        entryOf("4F1C09AB-0000-4000-8000-000000000001", "one"),
        entryOf("5F1C09AB-0000-4000-8000-000000000002", "two"),
        entryOf("4F1C09AB-0000-4000-8000-000000000003", "shares the name of one"),
    };

    [[nodiscard]] std::shared_ptr<ObsidianExporter> create() {
        return ObsidianExporter::create({actor, defaults, picker, files, log});
    }
    void choose(std::optional<fs::path> answer) {
        picker.answers.push_back(std::move(answer));
        exporter->chooseFolder();
        actor.runPosted();
    }
    void exportAll(std::vector<DictationEntry> all) {
        exporter->exportAll(std::move(all));
        actor.runPosted();
    }
    [[nodiscard]] std::string content(const char* name) const {
        std::ifstream in(folder.path / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    [[nodiscard]] int fileCount() const {
        return static_cast<int>(std::distance(fs::directory_iterator(folder.path), {}));
    }
};

} // namespace

TEST_F(ObsidianExporterTest, theChosenFolderIsRemembered) {
    choose(std::nullopt);
    EXPECT_FALSE(exporter->_folderPath.get());
    choose(folder.path);
    EXPECT_EQ(exporter->_folderPath.get(), folder.path.string());
    EXPECT_EQ(create()->_folderPath.get(), folder.path.string());
    choose(std::nullopt);
    EXPECT_EQ(exporter->_folderPath.get(), folder.path.string()) << "cancelling changes nothing";
    choose("/tmp/\xFF");
    EXPECT_EQ(exporter->_folderPath.get(), folder.path.string());
    EXPECT_EQ(exporter->_lastResult.get(), "The folder could not be remembered.");
    exporter->clearFolder();
    EXPECT_FALSE(exporter->_folderPath.get());
    EXPECT_FALSE(create()->_folderPath.get());

    exporter->chooseFolder(); // and the user goes for a coffee
    exporter->chooseFolder();
    actor.runPosted();
    EXPECT_EQ(picker.opened, 5);
    exporter.reset();
    actor.runPosted();
}

TEST_F(ObsidianExporterTest, exportsAllAndSaysHowManyOrWhatIsWrong) {
    exportAll(entries);
    EXPECT_EQ(exporter->_lastResult.get(), "Choose a folder first.");
    choose(folder.path);
    exportAll({});
    EXPECT_EQ(exporter->_lastResult.get(), "No notes to export yet.");
    for (int i = 0; i < 2; ++i) { // twice: the same files
        exportAll(entries);
        EXPECT_EQ(exporter->_lastResult.get(), "Exported 3 notes.");
        EXPECT_EQ(fileCount(), 2);
        EXPECT_EQ(content("Nimbe 2001-01-01 5F1C09AB.md"),
            "---\ncreated: 2001-01-01T00:00:00Z\nsource: nimbe\n---\n\ntwo");
        EXPECT_TRUE(content("Nimbe 2001-01-01 4F1C09AB.md").ends_with("shares the name of one"));
    }
    exportAll({entries[0]});
    EXPECT_EQ(exporter->_lastResult.get(), "Exported 1 note.");

    // A folder in the way of the second file: the first one stays, no other is begun.
    fs::remove(folder.path / "Nimbe 2001-01-01 5F1C09AB.md");
    fs::create_directory(folder.path / "Nimbe 2001-01-01 5F1C09AB.md");
    exportAll(entries);
    EXPECT_EQ(exporter->_lastResult.get(), "Export failed. Check that the folder still exists.");
    EXPECT_TRUE(content("Nimbe 2001-01-01 4F1C09AB.md").ends_with("\n\none"));
    EXPECT_EQ(fileCount(), 2) << "no draft is left behind";

    fs::remove_all(folder.path);
    exportAll(entries);
    EXPECT_FALSE(fs::exists(folder.path)) << "a folder that is gone is not made again";
    EXPECT_EQ(exporter->_folderPath.get(), folder.path.string());
}

TEST_F(ObsidianExporterTest, manyAreWrittenWhileTheProgramGoesOn) {
    choose(folder.path);
    entries.clear();
    for (std::size_t i = 0; i <= ObsidianExporter::batch; ++i)
        entries.push_back({UUID::random(), "note", Date{}, DictationMode::notes});
    int turns = 0;
    Token others;
    const auto observing = exporter->_lastResult.observe([&](const auto& said) {
        EXPECT_EQ(said, turns == 0 ? "Exporting 100 of 101…" : "Exported 101 notes.");
        if (turns++ == 0) others = actor.schedule(0, [&] { EXPECT_EQ(fileCount(), 100); });
    });
    exportAll(entries);
    EXPECT_EQ(turns, 2);
}

TEST_F(ObsidianExporterTest, aSlowDiskLeavesTimeForTheRest) {
    struct SlowWriter final : FileWriter {
        ManualMainActor& actor;
        explicit SlowWriter(ManualMainActor& actor) : actor(actor) {}
        std::error_code write(const fs::path&, std::string_view) override {
            actor.advance(0.015);
            return {};
        }
    } slow{actor};
    exporter = ObsidianExporter::create({actor, defaults, picker, slow, log});
    choose(folder.path);
    std::vector<std::string> said;
    const auto observing = exporter->_lastResult.observe(
        [&](const auto& result) { said.push_back(result.value_or("")); });
    exportAll(entries);
    EXPECT_EQ(said, (std::vector<std::string>{"Exporting 2 of 3…", "Exported 3 notes."}));
}

TEST_F(ObsidianExporterTest, autoExportWritesQuietlyWhenItIsOn) {
    exporter->autoExport(entries[0]);
    EXPECT_TRUE(defaults.set(ObsidianExporter::isAutomatic, true));
    exporter->autoExport(entries[0]);
    EXPECT_EQ(fileCount(), 0) << "no folder yet";
    choose(folder.path);
    exporter->autoExport(entries[0]);
    EXPECT_EQ(fileCount(), 1);
    EXPECT_EQ(exporter->_lastResult.get(), std::nullopt);
    EXPECT_TRUE(defaults.set(ObsidianExporter::isAutomatic, false));
    exporter->autoExport(entries[1]);
    EXPECT_EQ(fileCount(), 1);
    EXPECT_TRUE(defaults.set(ObsidianExporter::isAutomatic, true));
    fs::remove_all(folder.path);
    exporter->autoExport(entries[1]);
    EXPECT_EQ(
        exporter->_lastResult.get(), "Auto-export failed. Check that the folder still exists.");
}

TEST_F(ObsidianExporterTest, aFullDiskLeavesTheOldFile) {
    const SmallDisk disk(folder.path / "small", 64 * 1024);
    if (!disk.isMounted) GTEST_SKIP() << "this machine mounts no file system for a test";
    choose(folder.path / "small");
    exportAll({entries[0]});
    auto longer = entries[0];
    longer.text = std::string(100'000, 'x');
    exportAll({longer});
    EXPECT_EQ(exporter->_lastResult.get(), "Export failed. Check that the folder still exists.");
    EXPECT_TRUE(content("small/Nimbe 2001-01-01 4F1C09AB.md").ends_with("\n\none"));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path / "small"), {}), 1);
}

} // namespace nimbe
