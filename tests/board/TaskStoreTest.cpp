#include "tests/board/StoreInHome.h"

#include <QJsonDocument>

namespace {

struct StoreTest : testing::Test, StoreInHome
{
};

// What every stored line has, and what it may have.
const QByteArray needed =
    R"("currentState":"s","id":"cc-1","project":"p","purpose":")"
    "\xEF\xBB\xBFw"
    R"(","recentEvents":["e"],)"
    R"("source":"Codex","status":"shelved","tags":["b"],"title":"t","updatedAt":"2026-03-07T09:41:05Z")";
const QByteArray full = needed + R"(,"needsApproval":false,"titleEdited":true,"waitingReason":"r")";

} // namespace

TEST_F(StoreTest, AStartLeavesTheFileAloneAndASaveKeepsEveryField)
{
    restart();
    EXPECT_EQ(QDir(home.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), QStringList());
    const QByteArray absent = R"(,"needsApproval":null,"titleEdited":null,"waitingReason":null,"new":1)";
    const QByteArray before = "[{" + full + "},{" + needed + absent + "}]";
    home.write(tasksFile, before);
    restart();
    EXPECT_EQ(home.read(tasksFile), before);
    for (const bool isThere : {true, false, true}) { // whether another writes it then, or removes it
        store->sweep();
        EXPECT_EQ(QJsonDocument::fromJson(home.read(tasksFile)),
                  QJsonDocument::fromJson("[{" + full + "},{" + needed + "}]"));
        isThere ? home.write(tasksFile, "another's") : void(QFile::remove(home.path(tasksFile)));
    }
    EXPECT_EQ(store->tasks().value(0).purpose, "\uFEFFw"); // Qt's reader drops the mark
    EXPECT_EQ(HookEvent::decode("{\"cwd\":\"\xEF\xBB\xBF\"}")->cwd, "\uFEFF");
}

TEST_F(StoreTest, AFileThatIsNoneOfOursIsMovedAside)
{
    QList<QByteArray> damaged{"{", "{}", "[1]", QByteArray("[\0]", 3)};
    for (const QByteArray &member : full.split(','))
        damaged += "[{" + QByteArray(full).replace(member, member.split(':')[0] + ":1") + "}]";
    for (const QByteArray &member : needed.split(','))
        damaged += "[{" + QByteArray(needed).replace(member, "\"new\":1") + "}]";
    const QByteArray changes = R"("t"|null Codex|codex shelved|Shelved "b"|1 05Z|05.2Z 05Z|05+00:00 03-07|02-30)";
    for (const QByteArray &change : changes.split(' '))
        damaged += "[{" + QByteArray(needed).replace(change.split('|')[0], change.split('|')[1]) + "}]";
    for (qsizetype i = 0; i < damaged.size(); ++i) {
        store.reset();
        home.write(tasksFile, damaged[i]);
        restart();
        EXPECT_TRUE(store->tasks().isEmpty() && !home.exists(tasksFile)) << damaged[i].constData();
        const QString number = i == 0 ? QString() : '-' + QString::number(i + 1);
        EXPECT_EQ(home.read(".tavvel/tasks.corrupt" + number + ".json"), damaged[i]);
    }
    store.reset();
    home.write(tasksFile + "/precious", "");
    restart();
    store->upsert(AgentTask());
    EXPECT_TRUE(home.exists(QString(".tavvel/tasks.corrupt-%1.json/precious").arg(damaged.size() + 1)));
    EXPECT_EQ(QFile::permissions(home.path(tasksFile)) & ~QFile::Permissions(0xf00), 0x6000);
}

TEST_F(StoreTest, AFailedSaveIsReportedAndRepeatedAtTheEnd)
{
    home.write(".tavvel", "where the directory should be");
    restart();
    testing::internal::CaptureStderr();
    store->upsert(AgentTask());
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(log.starts_with("Plumtide: 保存 tasks.json 失败 — ") && log.find('\n') == log.size() - 1) << log;
    QFile::remove(home.path(".tavvel"));
    restart();
    EXPECT_EQ(store->tasks().size(), 1);
}
