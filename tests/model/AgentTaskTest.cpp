#include "Plumtide/model/AgentTask.h"

#include "tests/support/Printing.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QDateTime now({2026, 3, 7}, {9, 41, 5}, Qt::UTC);

AgentTask line(const QString &id, AgentTaskStatus status, qint64 secondsAgo, std::optional<bool> needsApproval = {})
{
    AgentTask task;
    task.id = id;
    task.status = status;
    task.needsApproval = needsApproval;
    task.updatedAt = now.addSecs(-secondsAgo);
    return task;
}

AgentTask fullLine()
{
    return {
        .id = u"cc-1"_s,
        .title = u"改登录页 🎉"_s,
        .project = u"shop"_s,
        .source = TaskSource::claude,
        .status = AgentTaskStatus::waiting,
        .purpose = u"a \"goal\"\n"_s,
        .currentState = u"回复好了"_s,
        .waitingReason = u"等你看一眼。"_s,
        .needsApproval = false,
        .titleEdited = true,
        .tags = {u"a"_s, u"b"_s},
        .recentEvents = {u"09:41 你说：hi"_s},
        .updatedAt = now,
    };
}

QJsonObject changed(const QString &key, const QJsonValue &value)
{
    QJsonObject object = toJson(fullLine());
    if (value.isUndefined())
        object.remove(key);
    else
        object.insert(key, value);
    return object;
}

} // namespace

TEST(AgentTask, UrgencyFadingAndStucknessFollowIdStatusAndAge)
{
    using enum AgentTaskStatus;
    const QString agent = u"cc-s"_s;
    const QString codex = u"cx-s"_s;
    const QString manual = u"6f2c7a52-0b1e-4a8e-9a55-0d6f3f3a0b11"_s;
    struct Case
    {
        const char *name;
        AgentTask task;
        bool isUrgent, isFaded, isStuck;
    };
    const Case cases[] = {
        {"a reply waits", line(agent, waiting, 10), false, false, false},
        {"an approval waits", line(agent, waiting, 10, true), true, false, false},
        {"an approval was given", line(agent, waiting, 10, false), false, false, false},
        {"a manual line waits", line(manual, waiting, 90'000), true, false, false},
        {"a manual line waits without approval", line(manual, waiting, 90'000, false), true, false, false},
        {"a reply of exactly an hour", line(agent, waiting, 3600), false, false, false},
        {"a reply of more than an hour", line(codex, waiting, 3601), false, true, false},
        {"an approval of more than an hour", line(agent, waiting, 3601, true), true, false, false},
        {"running for exactly half an hour", line(agent, running, 1800), false, false, false},
        {"running for more than half an hour", line(codex, running, 1801), false, false, true},
        {"a manual line runs for a day", line(manual, running, 90'000), false, false, false},
        {"an approval left on a shelved line", line(agent, shelved, 9000, true), false, false, false},
        {"an upper-case prefix is no agent", line(u"CC-s"_s, waiting, 9000), true, false, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.task.isUrgent(), c.isUrgent);
        EXPECT_EQ(c.task.isFaded(now), c.isFaded);
        EXPECT_EQ(c.task.isStuck(now), c.isStuck);
    }
}

TEST(AgentTask, ShortAgoNamesTheLargestWholeUnit)
{
    const std::pair<qint64, QString> cases[] = {
        {-120, u"刚刚"_s},        {0, u"刚刚"_s},
        {59, u"刚刚"_s},          {60, u"1 分钟前"_s},
        {3599, u"59 分钟前"_s},   {3600, u"1 小时前"_s},
        {86'399, u"23 小时前"_s}, {86'400, u"1 天前"_s},
        {950'399, u"10 天前"_s},  {86'400LL * 2000, u"2000 天前"_s},
    };
    for (const auto &[seconds, text] : cases)
        EXPECT_EQ(shortAgo(now.addSecs(-seconds), now), text);
    EXPECT_EQ(shortAgo(now.addMSecs(-59'999), now), u"刚刚"_s);
}

TEST(AgentTask, StoredFormCarriesEveryFieldBack)
{
    const AgentTask full = fullLine();
    EXPECT_EQ(agentTaskFrom(toJson(full)), full);
    EXPECT_EQ(toJson(full).value("updatedAt"_L1).toString(), u"2026-03-07T09:41:05Z"_s);

    AgentTask bare = full;
    bare.waitingReason.reset();
    bare.needsApproval.reset();
    bare.titleEdited.reset();
    EXPECT_EQ(toJson(bare).size(), 10);
    EXPECT_EQ(agentTaskFrom(toJson(bare)), bare);
    QJsonObject withNulls = toJson(bare);
    for (const QString &key : {u"waitingReason"_s, u"needsApproval"_s, u"titleEdited"_s})
        withNulls.insert(key, QJsonValue::Null);
    withNulls.insert(u"somethingNew"_s, 1);
    EXPECT_EQ(agentTaskFrom(withNulls), bare);
}

TEST(AgentTask, UnfitRecordsAreNotRead)
{
    for (const QString &key : {u"id"_s, u"title"_s, u"project"_s, u"purpose"_s, u"currentState"_s, u"source"_s,
                               u"status"_s, u"tags"_s, u"recentEvents"_s, u"updatedAt"_s}) {
        SCOPED_TRACE(qPrintable(key));
        EXPECT_FALSE(agentTaskFrom(changed(key, QJsonValue::Undefined)));
        EXPECT_FALSE(agentTaskFrom(changed(key, QJsonValue::Null)));
        EXPECT_FALSE(agentTaskFrom(changed(key, 7)));
    }
    const std::pair<QString, QJsonValue> cases[] = {
        {u"status"_s, u"Waiting"_s},
        {u"source"_s, u"claude"_s},
        {u"tags"_s, QJsonArray{u"a"_s, 1}},
        {u"needsApproval"_s, u"true"_s},
        {u"titleEdited"_s, 1},
        {u"waitingReason"_s, 1},
        {u"updatedAt"_s, u"2026-03-07T09:41:05.250Z"_s},
        {u"updatedAt"_s, u"2026-03-07T09:41:05+00:00"_s},
        {u"updatedAt"_s, u"2026-03-07 09:41:05Z"_s},
        {u"updatedAt"_s, u"2026-02-30T09:41:05Z"_s},
        {u"updatedAt"_s, u"2026/03/07T09:41:05Z"_s},
        {u"updatedAt"_s, u"2026-03-07T24:00:00Z"_s},
        {u"updatedAt"_s, u"2026-03-07T09:41.05Z"_s},
        {u"updatedAt"_s, u"２026-03-07T09:41:05Z"_s},
        {u"updatedAt"_s, u"0000-03-07T09:41:05Z"_s},
        {u"updatedAt"_s, u"2026-03-07T09:41:05z"_s},
    };
    for (const auto &[key, value] : cases)
        EXPECT_FALSE(agentTaskFrom(changed(key, value))) << qPrintable(key + u' ' + value.toVariant().toString());
}

TEST(AgentTask, EqualityLooksAtTheOrderOfTagsAndAtFractionsOfASecond)
{
    AgentTask other = fullLine();
    std::swap(other.tags[0], other.tags[1]);
    EXPECT_NE(other, fullLine());
    other = fullLine();
    other.updatedAt = other.updatedAt.addMSecs(500);
    EXPECT_NE(other, fullLine());
}

TEST(AgentTask, WhatCannotBeReadBackIsTamed)
{
    AgentTask task = fullLine();
    task.title = QString(QChar(0xD83D)) + u"x"_s + QChar(u'\0') + QChar(0xDE00) + u"🎉"_s;
    task.recentEvents = {QString(QChar(0xDC00))};
    task.updatedAt = QDateTime({10'000, 1, 1}, {0, 0}, Qt::UTC);
    const AgentTask tamed = storable(task, now);
    EXPECT_EQ(tamed.title, u"\uFFFDx\uFFFD\uFFFD🎉"_s);
    EXPECT_EQ(tamed.recentEvents, QList<QString>{u"\uFFFD"_s});
    EXPECT_EQ(tamed.updatedAt, now);
    const QByteArray stored = QJsonDocument(toJson(tamed)).toJson();
    EXPECT_EQ(agentTaskFrom(QJsonDocument::fromJson(stored).object()), tamed);
}
