#include "Plumtide/model/ProjectGroup.h"

#include "tests/support/Printing.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QDateTime today({2026, 3, 7}, {9, 41, 5}, Qt::UTC);

// Lines in shorthand, one letter a line: a approval, m manual and waiting, w fresh reply, f faded reply, r running,
// R manual and running, s shelved, d done. The id ends with the line's place.
ProjectGroup group(const QString &letters)
{
    ProjectGroup result{u"shop"_s, {}};
    for (const QChar letter : letters) {
        AgentTask line;
        const bool isManual = letter == u'm' || letter == u'R';
        line.id = (isManual ? u"manual-"_s : u"cc-"_s) + QString::number(result.lines.size());
        line.needsApproval = letter == u'a';
        line.updatedAt = today.addSecs(letter == u'f' ? -7200 : -600);
        switch (letter.unicode()) {
        case 'r':
        case 'R': line.status = AgentTaskStatus::running; break;
        case 's': line.status = AgentTaskStatus::shelved; break;
        case 'd': line.status = AgentTaskStatus::done; break;
        default: line.status = AgentTaskStatus::waiting;
        }
        result.lines.append(line);
    }
    return result;
}

QString places(const QList<AgentTask> &lines)
{
    QString result;
    for (const AgentTask &line : lines)
        result += line.id.back();
    return result;
}

} // namespace

TEST(ProjectGroup, SectionAndSummaryFollowTheLines)
{
    struct Case
    {
        QString lines;
        ProjectSection section;
        QString summary;
    };
    const Case cases[] = {
        {u""_s, ProjectSection::quiet, u""_s},
        {u"dd"_s, ProjectSection::quiet, u""_s},
        {u"mr"_s, ProjectSection::pending, u"1 条等你处理 · 1 条在跑"_s},
        {u"w"_s, ProjectSection::pending, u"1 条等你处理"_s},
        {u"f"_s, ProjectSection::quiet, u"1 条没新动静"_s},
        {u"rRs"_s, ProjectSection::inProgress, u"2 条在跑 · 1 条没新动静"_s},
        {u"awrrRsfd"_s, ProjectSection::pending, u"2 条等你处理 · 3 条在跑 · 2 条没新动静"_s},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(qPrintable(c.lines));
        EXPECT_EQ(group(c.lines).section(today), c.section);
        EXPECT_EQ(group(c.lines).summaryText(today), c.summary);
    }
}

TEST(ProjectGroup, EveryOpenLineIsInOneListAndKeepsItsOrder)
{
    const ProjectGroup mixed = group(u"swfrmsdaf"_s);
    EXPECT_EQ(places(mixed.urgentLines()), u"47"_s);
    EXPECT_EQ(places(mixed.freshWaitingLines(today)), u"1"_s);
    EXPECT_EQ(places(mixed.runningLines()), u"3"_s);
    EXPECT_EQ(places(mixed.quietLines(today)), u"0258"_s);
}
