#include "core/AppSettings.h"

#include "core/Defaults.h"
#include "core/Paths.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QLocale>

namespace {

QJsonValue toJson(const QStringList &list)
{
    return QJsonArray::fromStringList(list);
}
QJsonValue toJson(const QString &text)
{
    return text;
}
QJsonValue toJson(bool value)
{
    return value;
}
QJsonValue toJson(double value)
{
    return value;
}

} // namespace

AppSettings::AppSettings(Defaults &defaults, QObject *parent)
    : QObject(parent)
    , m_defaults(defaults)
{
    m_indexedFolders = defaults.stringList(QStringLiteral("indexedFolders")).value_or(Paths::defaultIndexedFolders());
    m_pinnedFolders = defaults.stringList(QStringLiteral("pinnedFolders")).value_or(QStringList());
    m_fastModel = defaults.string(QStringLiteral("fastModel")).value_or(QString::fromLatin1(defaultFastModel));
    m_smartModel = defaults.string(QStringLiteral("smartModel")).value_or(QString::fromLatin1(defaultSmartModel));
    m_aiSearchEnabled = defaults.boolean(QStringLiteral("aiSearchEnabled")).value_or(true);
    m_aiRerankEnabled = defaults.boolean(QStringLiteral("aiRerankEnabled")).value_or(true);
    m_liveAnswersEnabled = defaults.boolean(QStringLiteral("liveAnswersEnabled")).value_or(true);
    m_autoEnhance = defaults.boolean(QStringLiteral("autoEnhance")).value_or(true);
    m_transcriptionLocale = defaults.string(QStringLiteral("transcriptionLocale")).value_or(QLocale::system().name());
    m_onboardingComplete = defaults.boolForKey(QStringLiteral("onboardingComplete"));
    m_viewMode = defaults.string(QStringLiteral("viewMode")).value_or(QStringLiteral("grid"));
    m_thumbnailSize = defaults.real(QStringLiteral("thumbnailSize")).value_or(128.0);
}

// Every set writes through, even of an equal value; only a change notifies.
template<typename T>
void AppSettings::assign(T &member, const T &value, const char *key, void (AppSettings::*changed)())
{
    const bool isChange = !(member == value);
    member = value;
    if (isChange)
        Q_EMIT(this->*changed)();
    m_defaults.setValue(QString::fromLatin1(key), toJson(value));
}

void AppSettings::setIndexedFolders(const QStringList &value)
{
    assign(m_indexedFolders, value, "indexedFolders", &AppSettings::indexedFoldersChanged);
}
void AppSettings::setPinnedFolders(const QStringList &value)
{
    assign(m_pinnedFolders, value, "pinnedFolders", &AppSettings::pinnedFoldersChanged);
}
void AppSettings::setFastModel(const QString &value)
{
    assign(m_fastModel, value, "fastModel", &AppSettings::fastModelChanged);
}
void AppSettings::setSmartModel(const QString &value)
{
    assign(m_smartModel, value, "smartModel", &AppSettings::smartModelChanged);
}
void AppSettings::setAiSearchEnabled(bool value)
{
    assign(m_aiSearchEnabled, value, "aiSearchEnabled", &AppSettings::aiSearchEnabledChanged);
}
void AppSettings::setAiRerankEnabled(bool value)
{
    assign(m_aiRerankEnabled, value, "aiRerankEnabled", &AppSettings::aiRerankEnabledChanged);
}
void AppSettings::setLiveAnswersEnabled(bool value)
{
    assign(m_liveAnswersEnabled, value, "liveAnswersEnabled", &AppSettings::liveAnswersEnabledChanged);
}
void AppSettings::setAutoEnhance(bool value)
{
    assign(m_autoEnhance, value, "autoEnhance", &AppSettings::autoEnhanceChanged);
}
void AppSettings::setTranscriptionLocale(const QString &value)
{
    assign(m_transcriptionLocale, value, "transcriptionLocale", &AppSettings::transcriptionLocaleChanged);
}
void AppSettings::setOnboardingComplete(bool value)
{
    assign(m_onboardingComplete, value, "onboardingComplete", &AppSettings::onboardingCompleteChanged);
}
void AppSettings::setViewMode(const QString &value)
{
    assign(m_viewMode, value, "viewMode", &AppSettings::viewModeChanged);
}
void AppSettings::setThumbnailSize(double value)
{
    assign(m_thumbnailSize, value, "thumbnailSize", &AppSettings::thumbnailSizeChanged);
}

QStringList AppSettings::indexRoots() const
{
    const QString key = QStringLiteral("LarderIndexRoots");
    if (const auto forced = m_defaults.stringList(key)) {
        QStringList roots = *forced;
        roots.removeAll(QString());
        return roots;
    }
    const auto forced = m_defaults.string(key);
    if (!forced || forced->isEmpty())
        return m_indexedFolders;
    // One folder whose name holds a colon, or the older form of several
    // folders joined by colons.
    if (QFileInfo(*forced).isDir())
        return {*forced};
    return forced->split(u':', Qt::SkipEmptyParts);
}
