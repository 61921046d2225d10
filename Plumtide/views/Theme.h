#pragma once

#include "Plumtide/model/AgentTask.h"

#include <QColor>
#include <QFont>
#include <QRawFont>
#include <QString>

/// A text's look. Two weights exist on most machines: regular and medium come out alike, as do semibold and bold.
struct TextStyle
{
    enum class Design { Sans, Serif };

    double size; ///< Logical pixels; halves are kept.
    QFont::Weight weight;
    QColor color;
    Design design = Design::Sans;
    double letterSpacing = 0; ///< Logical pixels after each letter.

    bool operator==(const TextStyle &) const = default;

    [[nodiscard]] constexpr TextStyle in(QColor other) const { return {size, weight, other, design, letterSpacing}; }
};

/// The one home of colours and fonts: a warm light palette that does not follow the desktop's.
/// Thread: main thread; the colours any.
class Theme
{
public:
    static constexpr QColor bg{250, 249, 245};        ///< Windows and button faces.
    static constexpr QColor card{255, 255, 255};      ///< Cards, the selected source chip.
    static constexpr QColor border{232, 229, 222};    ///< Rules, card and button borders.
    static constexpr QColor text{31, 30, 29};         ///< Primary text.
    static constexpr QColor secondary{142, 139, 131}; ///< Secondary text, icons, dots of quiet lines.
    static constexpr QColor accent{201, 100, 66};     ///< What needs the user.

    static constexpr QColor onAccent{255, 255, 255};    ///< Text on accent buttons.
    static constexpr QColor filterTray{240, 238, 231};  ///< Behind the source filter.
    static constexpr QColor placeholder{185, 182, 175}; ///< Hints in empty text fields.
    static constexpr QColor fieldBorder{217, 213, 204}; ///< Around text fields and choices.
    static constexpr QColor switchOff{217, 215, 207};   ///< The track of a switch that is off.
    static constexpr QColor scrollHandle{200, 198, 192};

    /// One of six muted colours, the same for a name on every machine and in every run: a hash of its code points,
    /// h = h * 31 + c modulo 2^32.
    [[nodiscard]] static QColor projectColor(const QString &name);
    [[nodiscard]] static QColor sourceColor(TaskSource source);

    /// `color` at `opacity` (0 to 1) of what it has.
    [[nodiscard]] static QColor faded(QColor color, double opacity);

    /// A font at its base size, and what it measures at the style's size, in logical pixels. A line's height is its
    /// font's rounded ascent and descent, so that stacks of lines stay on whole pixels.
    struct Face
    {
        QFont font;        ///< One of three, so that few fonts are loaded; without the letter spacing.
        QRawFont glyphs;   ///< The font's own.
        double scale;      ///< From the base size to the style's, when it is painted.
        double ascent;     ///< Whole.
        double lineHeight; ///< Whole.

        /// The font, with others to help out where it lacks a letter of `text`: to look for those takes longer than all
        /// else that is done for a font.
        [[nodiscard]] QFont fontFor(const QString &text) const;
    };
    /// Made once for each style. The first time, one line on standard error where the machine has no font for Chinese.
    [[nodiscard]] static const Face &face(const TextStyle &style);
    [[nodiscard]] static QFont widgetFont(const TextStyle &style); ///< For a widget of Qt; in whole pixels.

    /// Gives everything that Qt itself draws these colours: fields, lists, menus, tooltips.
    static void setPalette();
};
