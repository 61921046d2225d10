#pragma once

#include "Plumtide/model/AgentTask.h"
#include "tests/support/TestHome.h"

#include <QtWidgets>

/// A task line with these fields of its stored form, and "age" in minutes.
inline AgentTask lineWith(const QString &id, const QString &fields)
{
    QVariantMap line = toJson({}).toVariantMap();
    line[u"source"_s] = id.startsWith(u"cc-") ? u"Claude"_s : id.startsWith(u"cx-") ? u"Codex"_s : u"Other"_s;
    line.insert(QJsonDocument::fromJson(fields.toUtf8()).object().toVariantMap());
    line[u"id"_s] = id;
    line[u"updatedAt"_s] = TestHome().now.addSecs(-60 * line[u"age"_s].toInt()).toString(Qt::ISODate);
    return agentTaskFrom(QJsonObject::fromVariantMap(line)).value();
}

using Facts = QMap<QString, QString>; // by topic

/// Those of a view that are shown, from the top to the bottom.
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

/// What a screen reader says of them, by their roles.
inline QMap<QString, QStringList> heard(const QList<QAccessibleInterface *> &elements, const QWidget &view,
                                        const QRegion &painted)
{
    QMap<QString, QStringList> found;
    for (QAccessibleInterface *element : elements) {
        const QAccessible::State state = element->state();
        const QRect box = element->rect().translated(-view.mapToGlobal(QPoint()));
        QString name = element->text(QAccessible::Name);
        QString topic = QLatin1StringView(qAccessibleRoleString(element->role()));
        if (element->role() == QAccessible::Grouping)
            std::tie(topic, name) = std::pair(name.section(u' ', 0, 0), name.section(u' ', 1));
        if (element->role() == QAccessible::List && !found.contains(topic))
            found[u"top"_s] += QString::number(box.top());
        if (element->role() == QAccessible::Button)
            found[u"hints"_s] += element->text(QAccessible::Description);
        if (element->role() == QAccessible::EditableText)
            name += u'=' + element->text(QAccessible::Value);
        if (element->role() == QAccessible::ListItem && painted.intersects(box))
            name += u" painted"_s;
        if (state.expanded)
            name += u" ▾%1"_s.arg(box.height());
        found[topic] += name + (state.disabled ? u" off"_s : state.checked ? u" on"_s : QString());
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
