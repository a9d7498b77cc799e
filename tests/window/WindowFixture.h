// The real window on a virtual display for the screen tests: a model and
// shell in a temporary home, a small library of real files, lookups of
// items by object name, clicks and keys as a person gives them, and a
// picture of each state saved for review under build/screenshots.
#pragma once

#include "app/AppModel.h"
#include "core/Defaults.h"
#include "screens/Shell.h"
#include "store/FileRecord.h"

#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>

#include <gtest/gtest.h>

#include <memory>

// Readable values in failure messages.
QT_BEGIN_NAMESPACE
inline void PrintTo(const QString &text, std::ostream *out)
{
    *out << '"' << text.toStdString() << '"';
}
QT_END_NAMESPACE

// A small library of real files under $HOME/Library: photos, a screenshot,
// PDFs, text, a video, an archive and an app, some downloaded from known
// sites. Returns the stored records.
QList<FileRecord> makeLibrary(IndexStore &store);

class WindowFixture : public ::testing::Test
{
protected:
    static void SetUpTestSuite();
    void SetUp() override;
    void TearDown() override;

    // Opens the window over a model on the given launch arguments and waits
    // for its launch work.
    void open(const QStringList &arguments = {});
    void waitForOverview();

    QQuickWindow *window() const { return m_shell->window(); }
    // The item of that name, looked up through the scene, not the object
    // tree, so that delegates, loaded screens and popups are found too.
    QQuickItem *item(const QString &name) const;
    static QQuickItem *find(QQuickItem *under, const QString &name);
    // The screen the detail area shows.
    QString screen() const;

    void click(const QString &name);
    void typeKeys(const QString &text);
    // Replaces the search field's text as typed, key by key.
    void typeSearch(const QString &text);
    // The names of a list of the search screen, "ranked" or "others".
    QStringList hitNames(const char *list) const;
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::ControlModifier);
    // Lets thumbnails and animations settle, then saves the window.
    void capture(const QString &name, QWindow *which = nullptr);

    std::unique_ptr<Defaults> m_defaults;
    std::unique_ptr<AppSettings> m_settings;
    std::unique_ptr<AppModel> m_model;
    std::unique_ptr<Shell> m_shell;
};
