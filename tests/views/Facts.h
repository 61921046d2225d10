#pragma once

#include "Plumtide/model/AgentTask.h"
#include "tests/support/TestHome.h"

#include <QtWidgets>

/// A task line of "ID AGE PROJECT STATUS TITLE | FIELD VALUE | …", the age in minutes, with "⏎" and "\t" for those.
inline AgentTask lineWith(const QString &text)
{
    const QStringList fields = QString(text).replace(u'⏎', u'\n').replace(u"\\t"_s, u"\t"_s).split(u" | "_s);
    const QStringList head = fields[0].split(u' ');
    const QDateTime when = TestHome().now.addSecs(-60 * head[1].toInt());
    const bool isCodex = head[0].startsWith(u"cx-");
    QVariantMap line = toJson({}).toVariantMap();
    line.insert({{u"id"_s, head[0]},
                 {u"updatedAt"_s, when.toString(Qt::ISODate)},
                 {u"project"_s, head[2]},
                 {u"status"_s, head[3]},
                 {u"title"_s, head.sliced(4).join(u' ')},
                 {u"source"_s,
                  isCodex                          ? u"Codex"_s
                      : head[0].startsWith(u"cc-") ? u"Claude"_s
                                                   : u"Other"_s}});
    for (const QString &field : fields.sliced(1)) {
        QVariant &value = line[field.section(u' ', 0, 0)];
        const QString is = field.section(u' ', 1);
        const bool isList = value.typeId() == QMetaType::QVariantList;
        value = isList ? value.toList() << is : is == u"true" ? QVariant(true) : is;
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
        {QAccessible::Heading, u"【%1】"_s}, {QAccessible::List, u"[%1]"_s}, {QAccessible::ListItem, u"%1"_s}};
    static const QMap<int, QString> form{{QAccessible::Button, u"<%1>"_s}, {QAccessible::ComboBox, u"%1"_s}};
    static const QRegularExpression blankAtEnd(u" $"_s);
    Facts facts;
    const auto add = [&](const QString &topic, const QString &text, bool isSo = true) {
        if (isSo && !text.isEmpty() && !topic.isEmpty())
            facts[topic] += (facts.contains(topic) ? u" | "_s : QString()) + text;
    };
    for (auto *element : elementsIn(QAccessible::queryAccessibleInterface(&view))) {
        const QString text = element->text(QAccessible::Name), name = text.section(u'，', 0, 0);
        const QAccessible::Role role = element->role();
        const QAccessible::State state = element->state();
        const QRect box = element->rect();
        const bool isInForm = isIn(element->object(), "TaskEditView");
        if (role == QAccessible::Grouping && isInForm)
            add(u"form"_s, text);
        else if (role == QAccessible::Grouping)
            add(text.section(u' ', 0, 0), text.section(u' ', 1));
        else if (role == QAccessible::EditableText)
            add(u"form"_s, text + u'=' + element->text(QAccessible::Value).replace(blankAtEnd, u"␣"_s));
        else if (isInForm)
            add(u"form"_s, form.value(role, u"not of the form: %1"_s).arg(text));
        else if (board.contains(role))
            add(u"board"_s, board[role].arg(text));
        else
            add(QLatin1StringView(qAccessibleRoleString(role)), text);
        add(u"hints"_s, element->text(QAccessible::Description), role == QAccessible::Button);
        add(u"disabled"_s, name, state.disabled);
        add(u"checked"_s, name, state.checked);
        add(u"expanded"_s, u"%1 %2"_s.arg(name).arg(box.height()), state.expanded);
        add(u"top"_s, QString::number(view.mapFromGlobal(box.topLeft()).y()),
            role == QAccessible::List && !facts.contains(u"top"_s));
    }
    return facts;
}

/// Of the lines, as they are stored.
inline Facts stored(const QList<AgentTask> &lines)
{
    Facts facts;
    for (const AgentTask &line : lines) {
        const QString id = QUuid::fromString(line.id).isNull() ? line.id : u"new"_s; // and random
        for (const auto &[key, value] : toJson(line).toVariantMap().asKeyValueRange()) {
            const QStringList list = value.toStringList();
            facts[id + u' ' + key] = list.isEmpty() ? value.toString() : list.join(u", "_s);
        }
        facts.remove(id + u" id"_s);
        facts.remove(id + u" updatedAt"_s);
        const qint64 when = TestHome().now.secsTo(line.updatedAt);
        facts[id + u" is"_s] = u"%1 at %2"_s.arg(facts.take(id + u" status"_s)).arg(when);
    }
    return facts;
}

/// What has changed in them, as scenes.txt says it.
inline QStringList changesOf(const Facts &before, const Facts &now)
{
    static const QRegularExpression usual(u"(?<=cc-\\w)，Claude，5 分钟前|(?<=cx-\\w)，Codex，5 "
                                          u"分钟前|(?<=m-\\w)，其他，5 分钟前|(?<=\\[\\w|\\[docs|\\[shop) 5 分钟前"
                                          "|(?<=还有 \\d) 条暂时没新动静"_s);
    Facts all = before;
    all.insert(now);
    QStringList changes;
    for (const QString &topic : all.keys()) {
        const QString was = before.value(topic), is = now.value(topic);
        if (was == is)
            continue;
        if (is.isEmpty())
            changes += u'-' + topic;
        else
            changes += topic + u':' + changeOf(was.split(u" | "_s), is.split(u" | "_s));
    }
    return changes.replaceInStrings(u"\n"_s, u"⏎"_s)
        .replaceInStrings(u"\t"_s, u"\\t"_s)
        .replaceInStrings(usual, u"…"_s);
}
