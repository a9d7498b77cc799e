// What the user chose: a write-through cache over the settings store. Every
// property is read once at construction and written back as soon as it is
// set. Main thread only.
#pragma once

#include <QObject>
#include <QStringList>

class Defaults;

class AppSettings : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QStringList indexedFolders READ indexedFolders WRITE setIndexedFolders NOTIFY indexedFoldersChanged)
    Q_PROPERTY(QStringList pinnedFolders READ pinnedFolders WRITE setPinnedFolders NOTIFY pinnedFoldersChanged)
    Q_PROPERTY(QString fastModel READ fastModel WRITE setFastModel NOTIFY fastModelChanged)
    Q_PROPERTY(QString smartModel READ smartModel WRITE setSmartModel NOTIFY smartModelChanged)
    Q_PROPERTY(bool aiSearchEnabled READ aiSearchEnabled WRITE setAiSearchEnabled NOTIFY aiSearchEnabledChanged)
    Q_PROPERTY(bool aiRerankEnabled READ aiRerankEnabled WRITE setAiRerankEnabled NOTIFY aiRerankEnabledChanged)
    Q_PROPERTY(bool liveAnswersEnabled READ liveAnswersEnabled WRITE setLiveAnswersEnabled NOTIFY liveAnswersEnabledChanged)
    Q_PROPERTY(bool autoEnhance READ autoEnhance WRITE setAutoEnhance NOTIFY autoEnhanceChanged)
    Q_PROPERTY(QString transcriptionLocale READ transcriptionLocale WRITE setTranscriptionLocale NOTIFY transcriptionLocaleChanged)
    Q_PROPERTY(bool onboardingComplete READ onboardingComplete WRITE setOnboardingComplete NOTIFY onboardingCompleteChanged)
    Q_PROPERTY(QString viewMode READ viewMode WRITE setViewMode NOTIFY viewModeChanged)
    Q_PROPERTY(double thumbnailSize READ thumbnailSize WRITE setThumbnailSize NOTIFY thumbnailSizeChanged)

public:
    static constexpr const char *defaultFastModel = "claude-haiku-5-5";
    static constexpr const char *defaultSmartModel = "claude-opus-5";

    explicit AppSettings(Defaults &defaults, QObject *parent = nullptr);

    Defaults &defaults() const { return m_defaults; }

    QStringList indexedFolders() const { return m_indexedFolders; }
    QStringList pinnedFolders() const { return m_pinnedFolders; }
    QString fastModel() const { return m_fastModel; }
    QString smartModel() const { return m_smartModel; }
    bool aiSearchEnabled() const { return m_aiSearchEnabled; }
    bool aiRerankEnabled() const { return m_aiRerankEnabled; }
    bool liveAnswersEnabled() const { return m_liveAnswersEnabled; }
    bool autoEnhance() const { return m_autoEnhance; }
    QString transcriptionLocale() const { return m_transcriptionLocale; }
    bool onboardingComplete() const { return m_onboardingComplete; }
    QString viewMode() const { return m_viewMode; }
    double thumbnailSize() const { return m_thumbnailSize; }

    void setIndexedFolders(const QStringList &value);
    void setPinnedFolders(const QStringList &value);
    void setFastModel(const QString &value);
    void setSmartModel(const QString &value);
    void setAiSearchEnabled(bool value);
    void setAiRerankEnabled(bool value);
    void setLiveAnswersEnabled(bool value);
    void setAutoEnhance(bool value);
    void setTranscriptionLocale(const QString &value);
    void setOnboardingComplete(bool value);
    void setViewMode(const QString &value);
    void setThumbnailSize(double value);

    // The folders to index: those "LarderIndexRoots" names, one each when it
    // is given more than once; given once, the folder it names or its parts
    // split at ':'. Without it (or empty), indexedFolders.
    QStringList indexRoots() const;

Q_SIGNALS:
    void indexedFoldersChanged();
    void pinnedFoldersChanged();
    void fastModelChanged();
    void smartModelChanged();
    void aiSearchEnabledChanged();
    void aiRerankEnabledChanged();
    void liveAnswersEnabledChanged();
    void autoEnhanceChanged();
    void transcriptionLocaleChanged();
    void onboardingCompleteChanged();
    void viewModeChanged();
    void thumbnailSizeChanged();

private:
    template<typename T>
    void assign(T &member, const T &value, const char *key, void (AppSettings::*changed)());

    Defaults &m_defaults;
    QStringList m_indexedFolders;
    QStringList m_pinnedFolders;
    QString m_fastModel;
    QString m_smartModel;
    bool m_aiSearchEnabled = true;
    bool m_aiRerankEnabled = true;
    bool m_liveAnswersEnabled = true;
    bool m_autoEnhance = true;
    QString m_transcriptionLocale;
    bool m_onboardingComplete = false;
    QString m_viewMode;
    double m_thumbnailSize = 128.0;
};
