#include "tests/views/Scene.h"

#include "Plumtide/hooks/HooksInstaller.h"
#include "Plumtide/store/TaskStore.h"
#include "Plumtide/views/BoardView.h"
#include "Plumtide/views/DrawnView.h"
#include "Plumtide/views/MiniBoardView.h"
#include "Plumtide/views/PanelView.h"
#include "Plumtide/views/ProjectCardView.h"

#include <QComboBox>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLineEdit>
#include <QScrollArea>
#include <QScrollBar>

#include <algorithm>
#include <ranges>

using namespace Qt::StringLiterals;

namespace {

QString number(double value)
{
    return QString::number(value, 'f', 1).remove(u".0"_s);
}

QString colorText(const QColor &color)
{
    const QString name = color.name().toUpper();
    return color.alpha() == 255 ? name : u"%1@%2%"_s.arg(name).arg(qRound(color.alphaF() * 100));
}

QString boxText(const QRectF &box)
{
    return u"%1,%2 %3x%4"_s.arg(number(box.x()), number(box.y()), number(box.width()), number(box.height()));
}

QString describe(const Drawing::Box &box)
{
    QString text;
    if (box.fill.alpha() > 0)
        text += u" fill "_s + colorText(box.fill);
    if (box.strokeWidth > 0)
        text += u" stroke %1 %2"_s.arg(colorText(box.stroke), number(box.strokeWidth));
    if (box.line == Drawing::Line::Dashed)
        text += u" dashed"_s;
    if (box.radius > 0)
        text += u" radius "_s + number(box.radius);
    if (box.shadow)
        text += u" shadow %1 %2 +%3"_s.arg(colorText(box.shadow->color), number(box.shadow->deviation),
                                           number(box.shadow->offset.y()));
    if (!box.outline.isEmpty())
        text += u" cut"_s;
    return text;
}

QString describe(const Drawing::Text &text)
{
    QString result = u" %1 %2px"_s.arg(colorText(text.style.color), number(text.style.size));
    if (text.style.weight >= QFont::DemiBold)
        result += u" bold"_s;
    if (text.style.design == TextStyle::Design::Serif)
        result += u" serif"_s;
    if (text.style.letterSpacing != 0)
        result += u" spacing "_s + number(text.style.letterSpacing);
    if (text.isElided)
        result += u" cut"_s;
    return result + u" “%1”"_s.arg(text.text);
}

QString describe(const Drawing::Icon &icon)
{
    return u" icon %1 %2"_s.arg(icon.name, colorText(icon.color));
}

void addElements(const QWidget &window, QWidget &widget, QStringList &elements)
{
    if (!widget.isVisibleTo(&window))
        return;
    const QPointF at = widget.mapTo(&window, QPointF());
    if (auto *drawn = dynamic_cast<Drawn *>(&widget)) {
        const QString opacity = drawn->opacity() < 1 ? u" opacity %1"_s.arg(drawn->opacity()) : QString();
        for (const Drawing::Item &item : drawn->drawing().items()) {
            const QString part = QLatin1StringView(item.name);
            const QString name = widget.objectName() + (part.isEmpty() ? QString() : u"."_s + part);
            const QString look = std::visit([](const auto &content) { return describe(content); }, item.content);
            elements.append(
                u"%1 | %2 |%3%4"_s.arg(name, boxText(item.box.translated(at + drawn->origin())), look, opacity));
        }
    } else if (auto *input = qobject_cast<QLineEdit *>(&widget)) {
        elements.append(u"%1 | %2 | “%3” or “%4”"_s.arg(widget.objectName(), boxText({at, widget.size()}),
                                                        input->text(), input->placeholderText()));
    } else if (auto *choice = qobject_cast<QComboBox *>(&widget)) {
        elements.append(
            u"%1 | %2 | “%3”"_s.arg(widget.objectName(), boxText({at, widget.size()}), choice->currentText()));
        return;
    }
    for (QObject *child : widget.children()) {
        if (auto *part = qobject_cast<QWidget *>(child))
            addElements(window, *part, elements);
    }
}

} // namespace

Scene::Scene(const QString &path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(path);
    const QJsonObject description = QJsonDocument::fromJson(file.readAll()).object();
    EXPECT_FALSE(description.isEmpty()) << qPrintable(path);

    m_home.now = QDateTime::fromString(description[u"now"].toString(), Qt::ISODate);
    const auto defaults = m_home.defaults();
    const auto has = [&](const char16_t *list, const QString &name) {
        return description[list].toArray().contains(name);
    };
    defaults->setBoolean(u"tavvel.claude.hasSeenEvent"_s, has(u"seen", u"Claude"_s));
    defaults->setBoolean(u"tavvel.codex.hasSeenEvent"_s, has(u"seen", u"Codex"_s));
    m_home.write(u".tavvel/tasks.json"_s, QJsonDocument(description[u"tasks"].toArray()).toJson());
    m_home.write(u".codex/config.toml"_s, {});
    Environment environment = m_home.environment();
    const bool hasScripts = !description[u"withoutScripts"].toBool();
    environment.resourcesDir = hasScripts ? QStringLiteral(PLUMTIDE_HOOKS_DIR "/..") : QString();
    m_store = std::make_unique<TaskStore>(environment);
    m_installer = std::make_unique<HooksInstaller>(environment);
    if (has(u"installed", u"Claude"_s))
        m_installer->installClaude();
    if (has(u"installed", u"Codex"_s))
        m_installer->installCodex();
    if (!hasScripts)
        m_installer->installClaude(); // what the user has just tried
    else if (!description[u"justInstalled"].toBool())
        m_installer->clearMessage();
    m_store->setSourceFilter(taskSourceFrom(description[u"filter"].toString()));

    if (description[u"view"].toString() == u"mini") {
        m_view = std::make_unique<MiniBoardView>(*m_store, *m_installer);
        m_view->setAttribute(Qt::WA_TranslucentBackground);
        m_view->show();
    } else {
        showPanel(description);
    }
}

Scene::~Scene() = default;

void Scene::showPanel(const QJsonObject &description)
{
    auto owned = std::make_unique<PanelView>(*m_store, *m_installer, [this] { return m_home.now; });
    PanelView &panel = *owned;
    m_view = std::move(owned);
    panel.setMiniBoardOn(description[u"miniBoardOn"].toBool());
    if (description.contains(u"expanded"))
        panel.board().setExpandedID(description[u"expanded"].toString());
    panel.show();
    for (const QJsonValue &project : description[u"unfolded"].toArray()) {
        if (ProjectCardView *card = panel.board().card(project.toString()))
            card->setShowQuiet(true, LineRowView::Animate::No);
        else
            ADD_FAILURE() << "no card " << qPrintable(project.toString());
    }
    if (description[u"scroll"].toString() == u"end") {
        QScrollBar *bar = panel.findChild<QScrollArea *>()->verticalScrollBar();
        bar->setValue(bar->maximum());
    }
    if (description.contains(u"edit")) {
        const QString id = description[u"edit"].toString();
        const auto task = std::ranges::find(m_store->tasks(), id, &AgentTask::id);
        panel.edit(task == m_store->tasks().end() ? std::nullopt : std::optional(*task));
        panel.setFocus(); // a picture without a cursor
    }
}

QStringList Scene::elements() const
{
    QStringList elements;
    addElements(*m_view, *m_view, elements);
    return elements;
}

QImage Scene::picture(double scale) const
{
    QImage image((QSizeF(m_view->size()) * scale).toSize(), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::transparent);
    m_view->render(&image, {}, {}, QWidget::DrawChildren);
    return image;
}
