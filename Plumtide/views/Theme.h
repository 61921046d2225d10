#pragma once

#include "Plumtide/model/AgentTask.h"

#include <QColor>
#include <QFont>
#include <QRawFont>
#include <QString>

/// A text's look. Most machines have two weights: medium is shown as regular, semibold as bold.
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

/// All fonts, and all colours, which do not follow the desktop's. Thread: main thread; the colours any.
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

    /// One of six colours, always the same for a name: by a hash of its code points, h = h * 31 + c modulo 2^32.
    [[nodiscard]] static QColor projectColor(const QString &name);
    [[nodiscard]] static QColor sourceColor(TaskSource source);

    [[nodiscard]] static QColor faded(QColor color, double opacity); ///< At 0 to 1 of the opacity that it has.

    /// A font at its base size, and its metrics at the style's size, in logical pixels. Ascent and line height are
    /// rounded, so that the lines below each other stand on whole pixels.
    struct Face
    {
        QFont font;      ///< Without the letter spacing. There are three, so that few fonts are loaded.
        QRawFont glyphs; ///< Without those of fallback fonts.
        double scale;    ///< From the base size to the style's size; for painting.
        double ascent;
        double lineHeight;

        /// Enables fallback fonts only if the face lacks a glyph of `text`; the lookup is slow.
        [[nodiscard]] QFont fontFor(const QString &text) const;
    };
    /// Made once for each style. The first call writes a line to standard error if there is no font for Chinese.
    [[nodiscard]] static const Face &face(const TextStyle &style);
    [[nodiscard]] static QFont widgetFont(const TextStyle &style); ///< For a widget of Qt; in whole pixels.

    /// Sets the application's palette: for what Qt draws, as fields, lists, menus and tooltips.
    static void setPalette();
};
