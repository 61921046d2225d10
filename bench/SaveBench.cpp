// What does a change of one line cost beyond writing the file?

#include "Plumtide/store/TaskFile.h"
#include "bench/support/Board.h"
#include "bench/support/RawFile.h"
#include "bench/support/Report.h"
#include "bench/support/Workspace.h"

#include <QCoreApplication>
#include <QFile>

using namespace Qt::StringLiterals;

int main(int argc, char **argv)
{
    const bool isQuick = Report::isQuick(argc, argv);
    QCoreApplication application(argc, argv);
    const Workspace workspace;
    const QByteArray rawPath = QFile::encodeName(workspace.path(u".tavvel/raw.json"_s));
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QList<AgentTask> lines = SampleBoard::lines(200, now);
    TaskFile file(workspace.tasksFile(), {workspace.defaultsFile()});
    const auto save = [&] {
        if (!file.save(lines))
            Report::giveUp("a save failed.");
    };
    save();

    const int rounds = isQuick ? 500 : 4000;
    QList<Seconds> ours;
    QList<Seconds> raw;
    QByteArray content;
    for (int round = 0; round < rounds; ++round) {
        const qsizetype index = (round * 37) % lines.size();
        lines[index].currentState = u"正在处理：Bash %1"_s.arg(round);
        lines[index].updatedAt = now.addSecs(round);
        ours.append(Report::timeOf([&] {
            file.lineChanged(index);
            save();
        }));
        content = TaskFile::encode(lines);
        raw.append(Report::timeOf([&] { RawFile::replace(rawPath, content, content.size()); }));
        QCoreApplication::processEvents(); // the flush to the disk, once a second on its own thread
    }
    QFile saved(workspace.tasksFile());
    if (!saved.open(QIODevice::ReadOnly) || saved.readAll() != content)
        Report::giveUp("the saved file is not what it should be.");
    Report::printTimes("one changed line of 200 (" + QByteArray::number(content.size() / 1000)
                           + " kB): encode and save",
                       ours, "write + rename", raw, Report::Limit::AtMost, 1.5);
    return Report::exitStatus();
}
