#include <QtTest/QAbstractItemModelTester>
#include <random>

#include <gtest/gtest.h>

#include "Fakes/FakeCaptureHUD.h"
#include "Fakes/ManualMainActor.h"
#include "NimbeKitCore/History/HistoryFilter.h"
#include "NimbeKitCore/History/NotesDayGrouping.h"
#include "NimbeSync/MemorySyncDatabase.h"
#include "NimbeUI/HistoryListModel.h"
#include "NimbeUI/QtText.h"
#include "UIScene.h"

namespace nimbe {
namespace {

struct HistoryListModelTest : testing::Test {
    ManualMainActor actor;
    EngineScene below{actor};
    FakeCaptureHUD hud;
    UIScene scene{below, hud};
    MemorySyncDatabase database;
    InMemoryTranscriptKeyStore keys;
    TranscriptKey key{keys, TranscriptKey::Use::readAndMake, scene.log};
    SyncStore store{database, key, scene.log};
    Date now = Date::fromUnix(1'790'000'000); // 2026-09-21 14:13:20 UTC
    Calendar calendar{{"en_US"}, "UTC"};
    std::unique_ptr<DesktopActions> actions;
    std::unique_ptr<HistoryListModel> model;

    void say(const std::string& text, Seconds ago) {
        (void)scene.history.append(text, DictationMode::notes, now + -ago);
    }
    /// With more than the device's own history has.
    void fill(int count) {
        scene.syncStore = &store;
        for (int i = 0; i < count; ++i)
            store.insert("Note " + std::to_string(i), {}, now + -60.0 * i, "notes", UUID::random());
    }
    void open() {
        actions = std::make_unique<DesktopActions>(scene.services());
        model = std::make_unique<HistoryListModel>(*actions, calendar, [this] { return now; });
        actions->refreshHistory();
    }
    [[nodiscard]] std::string rows() const {
        std::string text;
        for (int row = 0; row < model->rowCount(); ++row) {
            const auto index = model->index(row);
            for (const auto role :
                {HistoryListModel::dayRole, HistoryListModel::timeRole, HistoryListModel::textRole})
                text += utf8(index.data(role).toString().replace(QChar(0x202f), ' ')) + "|";
        }
        return text;
    }
};

} // namespace

TEST_F(HistoryListModelTest, newestFirstUnderTheirDays) {
    say("Older.", 3 * 86400);
    say("Before.", 86400);
    say("Now.", 60);
    open();
    EXPECT_EQ(rows(), "Today|2:12 PM|Now.|Yesterday|2:13 PM|Before.|Sep 18|2:13 PM|Older.|");
    now = now + 86400;
    model->refresh();
    EXPECT_EQ(rows().substr(0, 9), "Yesterday") << "days go by";
}

TEST_F(HistoryListModelTest, findsWhateverTheCaseAndSaysWhenThereIsNothing) {
    open();
    EXPECT_EQ(utf8(model->emptyTitle()), "Nothing dictated yet");
    EXPECT_NE(utf8(model->emptyText()).find("Alt (Option)"), std::string::npos);
    say("The ÖRESUND bridge", 60);
    say("Bread", 120);
    actions->refreshHistory();
    model->setQuery(" öresund ");
    EXPECT_EQ(model->rowCount(), 1);
    model->setQuery("butter");
    EXPECT_EQ(model->rowCount(), 0);
    EXPECT_EQ(utf8(model->emptyTitle()), "Nothing found");
    model->setQuery("");
    EXPECT_EQ(model->rowCount(), 2);
}

TEST_F(HistoryListModelTest, aNewEntryComesInAtTheFrontWithoutAReset) {
    say("First.", 120);
    open();
    int resets = 0;
    int inserts = 0;
    QObject::connect(model.get(), &QAbstractItemModel::modelReset, [&] { ++resets; });
    QObject::connect(model.get(), &QAbstractItemModel::rowsInserted, [&] { ++inserts; });
    say("Second.", 60);
    scene.dictation->_phase.set({MacDictationController::Phase::Kind::done, "Pasted"});
    EXPECT_EQ(model->rowCount(), 2);
    EXPECT_EQ(inserts, 1);
    EXPECT_EQ(resets, 0);
}

TEST_F(HistoryListModelTest, deletesToTheTrashAndBack) {
    say("Kept.", 180);
    say("Goes.", 120);
    say("Stays.", 60);
    open();
    int resets = 0;
    QObject::connect(model.get(), &QAbstractItemModel::modelReset, [&] { ++resets; });
    model->remove(1);
    EXPECT_EQ(rows().find("Goes."), std::string::npos);
    EXPECT_EQ(resets, 0) << "the list stays where the reader is";
    EXPECT_EQ(scene.history.trashed(now).size(), 1U);
    EXPECT_EQ(utf8(model->notice()), "Moved to Recently Deleted.");
    ASSERT_TRUE(model->canUndo());
    model->undo();
    EXPECT_EQ(model->rowCount(), 3);
    EXPECT_EQ(scene.history.trashed(now).size(), 0U);

    model->remove(0);
    actor.advance(5.9);
    EXPECT_TRUE(model->canUndo());
    actor.advance(0.2);
    EXPECT_FALSE(model->canUndo());
    EXPECT_EQ(utf8(model->notice()), "");
    model->remove(-1);
    model->remove(99);
    EXPECT_EQ(model->rowCount(), 2);
}

TEST_F(HistoryListModelTest, whatCannotBeDeletedStaysAndIsSaid) {
    say("Mine.", 60);
    open();
    below.defaults.refusesWrites = true;
    model->remove(0);
    EXPECT_EQ(model->rowCount(), 1);
    EXPECT_EQ(utf8(model->notice()).find("Not deleted. "), 0U) << utf8(model->notice());
    EXPECT_FALSE(model->canUndo());
}

TEST_F(HistoryListModelTest, aLongListComesAsTheReaderGoes) {
    constexpr int page = HistoryListModel::pageLength;
    fill(2 * page + 1);
    open();
    int resets = 0;
    QObject::connect(model.get(), &QAbstractItemModel::modelReset, [&] { ++resets; });
    const auto expectRows = [&](int count, const std::string& first, const char* what) {
        EXPECT_EQ(model->rowCount(), count) << what;
        const auto text = model->index(0).data(HistoryListModel::textRole).toString();
        EXPECT_EQ(utf8(text), first) << what;
    };
    expectRows(page, "Note 0", "one page");
    say("New.", -60);
    actions->refreshHistory();
    expectRows(page + 1, "New.", "a new one pushes none out");
    EXPECT_TRUE(model->canFetchMore({}));
    model->remove(0);
    model->remove(0);
    expectRows(page + 1, "Note 1", "and one that goes makes room for the next");
    ASSERT_TRUE(model->canFetchMore({}));
    model->fetchMore({});
    EXPECT_FALSE(model->canFetchMore({}));
    expectRows(2 * page, "Note 1", "all");
    EXPECT_EQ(resets, 0) << "the list stays where the reader is";
    EXPECT_EQ(scene.history.trashed(now).size(), 2U);

    model->setQuery("note " + QString::number(2 * page));
    expectRows(1, "Note " + std::to_string(2 * page), "the oldest is found");
    model->setQuery("");
    expectRows(page, "Note 1", "from the start");
    EXPECT_TRUE(model->canFetchMore({}));
}

// A view knows only what it was told: that must be what there is.
TEST_F(HistoryListModelTest, aViewIsToldOfEveryRow) {
    fill(2 * HistoryListModel::pageLength + 50);
    open();
    static int complaints = 0;
    complaints = 0;
    const auto formerHandler = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext&, const QString&) { ++complaints; });
    const auto text = [&](int row) {
        const auto index = model->index(row);
        return utf8(index.data(HistoryListModel::dayRole).toString() + "|" +
                    index.data(HistoryListModel::textRole).toString());
    };
    std::vector<std::string> view;
    for (int row = 0; row < model->rowCount(); ++row) view.push_back(text(row));
    const auto insert = [&](const QModelIndex&, int first, int last) {
        for (int row = first; row <= last; ++row) view.insert(view.begin() + row, text(row));
    };
    const auto remove = [&](const QModelIndex&, int first, int last) {
        view.erase(view.begin() + first, view.begin() + last + 1);
    };
    const auto change = [&](const QModelIndex& first, const QModelIndex& last) {
        for (int row = std::max(first.row(), 0); row <= last.row(); ++row)
            view.at(static_cast<std::size_t>(row)) = text(row);
    };
    QObject::connect(model.get(), &QAbstractItemModel::rowsInserted, insert);
    QObject::connect(model.get(), &QAbstractItemModel::rowsRemoved, remove);
    QObject::connect(model.get(), &QAbstractItemModel::dataChanged, change);
    QObject::connect(model.get(), &QAbstractItemModel::modelReset, [&] { view.clear(); });
    QAbstractItemModelTester tester(
        model.get(), QAbstractItemModelTester::FailureReportingMode::Warning);
    tester.setUseFetchMore(false); // it would ask before it has taken in what it is told

    std::mt19937 random(7);
    const auto draw = [&](std::size_t count) {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(random);
    };
    const QString queries[] = {"", "", "3", "nothing"};
    for (int step = 0; step < 300; ++step) {
        const auto id = actions->entries()[draw(250)].id;
        const auto kind = draw(10);
        if (kind < 3) say("New " + std::to_string(step), 0);
        if (kind == 3) scene.dictations.update(id, "Edited " + std::to_string(step));
        if (kind == 4 || kind == 5) scene.dictations.deleteEntry(id, now);
        if (kind == 6) model->setQuery(queries[draw(4)]);
        if (kind == 7) now = now + 3600.0 * static_cast<double>(draw(9));
        if (kind > 7) model->fetchMore({});
        if (kind != 2) actions->refreshHistory();
        const auto there = HistoryFilter::matching(utf8(model->query()), actions->entries());
        ASSERT_LE(view.size(), there.size()) << step;
        ASSERT_EQ(model->canFetchMore({}), there.size() > view.size()) << step;
        ASSERT_GE(view.size(), std::min(there.size(), HistoryListModel::pageLength)) << step;
        for (std::size_t row = 0; row < view.size(); ++row) {
            const auto day = NotesDayGrouping::title(there[row].timestamp, now, calendar);
            ASSERT_EQ(view[row], day + "|" + there[row].text) << step << " " << row;
        }
    }
    qInstallMessageHandler(formerHandler);
    EXPECT_EQ(complaints, 0);
}

TEST_F(HistoryListModelTest, copiesTheWholeText) {
    const std::string text = "A long one.\n" + std::string(3000, 'x') + " Ende: ß👍";
    say(text, 60);
    open();
    model->copy(0);
    actor.runPosted();
    EXPECT_EQ(scene.pasteboard.paste(), text);
    EXPECT_EQ(scene.log.all().find("Ende"), std::string::npos);
}

// The keyring or the disk may take its time: the interface must not wait for it.
TEST_F(HistoryListModelTest, theHistoryIsReadBesideTheMainThread) {
    std::vector<std::function<void()>> jobs;
    auto services = scene.services();
    services.inBackground = [&](std::function<void()> job) {
        jobs.push_back(std::move(job));
    };
    auto patient = std::make_unique<DesktopActions>(std::move(services));
    (void)scene.history.append("Hello there.", DictationMode::notes, Date::now());
    patient->refreshHistory();
    EXPECT_TRUE(patient->entries().empty());
    ASSERT_EQ(jobs.size(), 1U);
    jobs[0]();
    EXPECT_TRUE(patient->entries().empty()) << "it came on the other thread";
    actor.runPosted();
    EXPECT_EQ(patient->entries().size(), 1U);
    // One that is late finds nobody.
    patient->refreshHistory();
    jobs[1]();
    patient.reset();
    actor.runPosted();
}

} // namespace nimbe
