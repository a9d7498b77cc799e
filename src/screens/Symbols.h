// The symbols of the window: each symbol name the screens use, such as
// "house.fill", mapped to the glyph of the Material Icons font that draws it
// (the font's ligature name, such as "home").
#pragma once

#include <QColor>
#include <QIcon>
#include <QObject>
#include <QString>
#include <QStringList>

class Symbols : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString fontFamily READ fontFamily CONSTANT)

public:
    explicit Symbols(QObject *parent = nullptr);

    // Loads the icon font into the application; false when it isn't installed.
    static bool loadFont();
    static QString fontFamily();

    // The glyph's ligature for a symbol name; "help_outline" for a name the
    // table doesn't know, so that a missing entry shows, not a blank.
    Q_INVOKABLE static QString glyph(const QString &symbol);
    static bool knows(const QString &symbol);
    static QStringList names();

    // The symbol drawn in white on a rounded square of the colour, for the
    // window and the tray, at the usual icon sizes.
    static QIcon icon(const QString &symbol, const QColor &background);
};
