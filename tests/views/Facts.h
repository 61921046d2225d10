#pragma once

#include "Plumtide/model/AgentTask.h"
#include "tests/support/TestHome.h"

#include <QtWidgets>

/// A task line of "ID AGE PROJECT STATUS TITLE | FIELD VALUE | …", the age in minutes, with "⏎" and "\t" for those.
inline AgentTask lineWith(const QString &text)
{
    const QStringList fields = QString(text).replace(u'⏎', '\n').replace("\\t", "\t").split(" | ");
    const QStringList head = fields[0].split(' ');
    const QDateTime when = TestHome().now.addSecs(-60 * head[1].toInt());
    const QMap<QString, QString> tools{{"cc", "Claude"}, {"cx", "Codex"}};
    QVariantMap line = toJson({}).toVariantMap();
    line.insert({{"id", head[0]},
                 {"updatedAt", when.toString(Qt::ISODate)},
                 {"project", head[2]},
                 {"status", head[3]},
                 {"title", head.sliced(4).join(' ')},
                 {"source", tools.value(head[0].first(2), "Other")}});
    for (const QString &field : fields.sliced(1)) {
        QVariant &value = line[field.section(' ', 0, 0)];
        const QString is = field.section(' ', 1);
        const bool isList = value.typeId() == QMetaType::QVariantList;
        value = isList ? value.toList() << is : is == "true" ? QVariant(true) : is;
    }
    return agentTaskFrom(QJsonObject::fromVariantMap(line)).value();
}

using Facts = QMap<QString, QString>; // by topic; the parts of a list are joined by " | "

/// What a view shows, from the top to the bottom, also what is scrolled away.
inline QList<QAccessibleInterface *> elementsIn(QAccessibleInterface *in)
{
    QList<QAccessibleInterface *> all;
    for (int i = 0; i < in->childCount(); ++i) {
        QAccessibleInterface *child = in->child(i);
        if (child && !child->state().invisible && child->role() != QAccessible::StaticText) // heard with its field
            all << child << elementsIn(child);
    }
    return all;
}

inline bool isIn(const QObject *object, const char *className)
{
    return object && (object->inherits(className) || isIn(object->parent(), className));
}

/// What a screen reader says of it, by the roles, and of what is in a state.
inline Facts heard(QWidget &view)
{
    static const QMap<int, QString> board{
        {QAccessible::Heading, "【%1】"}, {QAccessible::List, "[%1]"}, {QAccessible::ListItem, "%1"}};
    Facts facts;
    const auto add = [&](const QString &topic, const QString &text, bool isSo = true) {
        if (isSo && !text.isEmpty() && !topic.isEmpty())
            facts[topic] += (facts.contains(topic) ? " | " : QString()) + text;
    };
    for (auto *element : elementsIn(QAccessible::queryAccessibleInterface(&view))) {
        const QString text = element->text(QAccessible::Name), name = text.section(u'，', 0, 0);
        const QAccessible::Role role = element->role();
        const QAccessible::State state = element->state();
        const QRect box = element->rect();
        const bool isInForm = isIn(element->object(), "TaskEditView");
        if (role == QAccessible::Grouping && isInForm)
            add("form", text);
        else if (role == QAccessible::Grouping)
            add(text.section(' ', 0, 0), text.section(' ', 1));
        else if (role == QAccessible::EditableText)
            add("form", text + '=' + element->text(QAccessible::Value).replace(QRegularExpression(" $"), "␣"));
        else if (isInForm && role == QAccessible::Button)
            add("form", '<' + text + '>');
        else if (isInForm)
            add("form", role == QAccessible::ComboBox ? text : "not of the form: " + text);
        else if (board.contains(role))
            add("board", board[role].arg(text));
        else
            add(QLatin1StringView(qAccessibleRoleString(role)), text);
        add("hints", element->text(QAccessible::Description), role == QAccessible::Button);
        add("disabled", name, state.disabled);
        add("checked", name, state.checked);
        add("expanded", QString("%1 %2").arg(name).arg(box.height()), state.expanded);
        add("top", QString::number(view.mapFromGlobal(box.topLeft()).y()),
            role == QAccessible::List && !facts.contains("top"));
    }
    return facts;
}

/// Of the lines, as they are stored.
inline Facts stored(const QList<AgentTask> &lines)
{
    Facts facts;
    for (const AgentTask &line : lines) {
        const QString id = QUuid::fromString(line.id).isNull() ? line.id : "new"; // and random
        for (const auto &[key, value] : toJson(line).toVariantMap().asKeyValueRange()) {
            const QStringList list = value.toStringList();
            facts[id + ' ' + key] = list.isEmpty() ? value.toString() : list.join(", ");
        }
        facts.remove(id + " id");
        facts.remove(id + " updatedAt");
        const qint64 when = TestHome().now.secsTo(line.updatedAt);
        facts[id + " is"] = QString("%1 at %2").arg(facts.take(id + " status")).arg(when);
    }
    return facts;
}

/// What has changed in them, as scenes.txt says it.
inline QStringList changesOf(const Facts &before, const Facts &now)
{
    Facts all = before;
    all.insert(now);
    QStringList changes;
    for (const QString &topic : all.keys()) {
        const QString was = before.value(topic), is = now.value(topic);
        if (was == is)
            continue;
        if (is.isEmpty())
            changes += '-' + topic;
        else
            changes += topic + ':' + changeOf(was.split(" | "), is.split(" | "));
    }
    return changes;
}

/// With "…" for what is always the same.
inline QString abridged(QString text)
{
    static const QRegularExpression usual(
        "(?<=-\\w)，(Claude|Codex|其他)，5 分钟前|(?<=\\[\\w|\\[docs|\\[shop) 5 分钟前"
        "|(?<=还有 \\d) 条暂时没新动静");
    return text.replace('\n', "⏎").replace('\t', "\\t").replace(usual, "…");
}
