#pragma once

#include "Plumtide/model/AgentTask.h"
#include "tests/support/TestHome.h"

#include <QtWidgets>

/// A task line of "ID AGE PROJECT STATUS TITLE | FIELD VALUE | …", the age in minutes, "⏎" and "\t" as they read.
inline AgentTask lineWith(const QString &text)
{
    const QStringList fields = QString(text).replace(u'⏎', u'\n').replace(u"\\t"_s, u"\t"_s).split(u" | "_s);
    const QString id = fields[0].section(u' ', 0, 0);
    QVariantMap line = toJson({}).toVariantMap();
    line[u"id"_s] = id;
    line[u"source"_s] = id.startsWith(u"cc-") ? u"Claude"_s : id.startsWith(u"cx-") ? u"Codex"_s : u"Other"_s;
    const QDateTime updatedAt = TestHome().now.addSecs(-60 * fields[0].section(u' ', 1, 1).toInt());
    line[u"updatedAt"_s] = updatedAt.toString(Qt::ISODate);
    line[u"project"_s] = fields[0].section(u' ', 2, 2);
    line[u"status"_s] = fields[0].section(u' ', 3, 3);
    line[u"title"_s] = fields[0].section(u' ', 4);
    for (const QString &field : fields.sliced(1)) {
        QVariant &value = line[field.section(u' ', 0, 0)];
        const QString written = field.section(u' ', 1);
        value = value.typeId() == QMetaType::QVariantList ? QVariant(value.toList() << written)
            : written == u"true"                          ? QVariant(true)
                                                          : written;
    }
    return agentTaskFrom(QJsonObject::fromVariantMap(line)).value();
}

using Facts = QMap<QString, QString>; // by topic

/// Those of a view that are shown, from the top to the bottom.
inline QList<QAccessibleInterface *> elementsIn(QAccessibleInterface *in)
{
    QList<QAccessibleInterface *> all;
    for (int i = 0; i < in->childCount(); ++i) {
        if (QAccessibleInterface *child = in->child(i); child && !child->state().invisible)
            all << child << elementsIn(child);
    }
    return all;
}

/// What a screen reader says of them, by their roles; "【a heading】", "[a project]" and its lines are the board.
inline QMap<QString, QStringList> heard(const QList<QAccessibleInterface *> &elements, const QWidget &view,
                                        const QRegion &painted)
{
    static const QMap<QAccessible::Role, QString> boardMarks{
        {QAccessible::Heading, u"【%1】"_s}, {QAccessible::List, u"[%1]"_s}, {QAccessible::ListItem, u"%1"_s}};
    QMap<QString, QStringList> found;
    for (QAccessibleInterface *element : elements) {
        const QAccessible::Role role = element->role();
        const QAccessible::State state = element->state();
        const QRect box = element->rect().translated(-view.mapToGlobal(QPoint()));
        const QString name = element->text(QAccessible::Name), head = name.section(u'，', 0, 0);
        if (role == QAccessible::Grouping)
            found[name.section(u' ', 0, 0)] += name.section(u' ', 1);
        else if (role == QAccessible::EditableText)
            found[u"form"_s] += name + u'=' + element->text(QAccessible::Value);
        else if (role == QAccessible::ComboBox || (role == QAccessible::Button && found.contains(u"form"_s)))
            found[u"form"_s] += name;
        else if (boardMarks.contains(role))
            found[u"board"_s] += boardMarks[role].arg(name);
        else
            found[QLatin1StringView(qAccessibleRoleString(role))] += name;
        if (role == QAccessible::List && !found.contains(u"top"_s))
            found[u"top"_s] += QString::number(box.top());
        if (const QString hint = element->text(QAccessible::Description);
            role == QAccessible::Button && !hint.isEmpty())
            found[u"hints"_s] += hint;
        if (role == QAccessible::ListItem && painted.intersects(box))
            found[u"painted"_s] += head;
        if (state.expanded)
            found[u"expanded"_s] += head + u' ' + QString::number(box.height());
        if (state.disabled)
            found[u"disabled"_s] += head;
        if (state.checked)
            found[u"checked"_s] += head;
    }
    return found;
}

/// Of the lines, as they are stored; when, in seconds.
inline Facts stored(const QList<AgentTask> &lines)
{
    Facts facts;
    for (AgentTask line : lines) {
        if (!QUuid::fromString(line.id).isNull())
            line.id = u"new"_s; // and random
        for (const auto &[key, value] : toJson(line).toVariantMap().asKeyValueRange())
            facts[line.id + u' ' + key] =
                value.typeId() == QMetaType::QVariantList ? value.toStringList().join(u", "_s) : value.toString();
        facts[line.id + u" updatedAt"_s] = QString::number(TestHome().now.secsTo(line.updatedAt));
    }
    return facts;
}
