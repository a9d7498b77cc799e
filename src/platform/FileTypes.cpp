#include "platform/FileTypes.h"

#include "platform/SharedMimeInfo.h"

namespace {

constexpr qsizetype rememberedTypesCap = 4096;

// The part of the name that its type by name depends on, when that is less
// than the whole name.
std::optional<QString> rememberedSuffix(const QString &name)
{
    const qsizetype dot = name.indexOf(u'.');
    if (dot <= 0 || SharedMimeInfo::WholeNamePatterns::instance().mayMatch(name))
        return std::nullopt;
    return name.mid(dot + 1);
}

} // namespace

FileTypes::ByName FileTypes::byName(const QString &name)
{
    const std::optional<QString> suffix = rememberedSuffix(name);
    if (suffix) {
        const auto known = m_byNameSuffix.constFind(*suffix);
        if (known != m_byNameSuffix.constEnd())
            return *known;
    }
    const QList<QMimeType> candidates = m_database.mimeTypesForFileName(name);
    ByName result;
    if (candidates.size() == 1) {
        result.type = candidates.first();
    } else {
        result.type = m_database.mimeTypeForFile(name, QMimeDatabase::MatchExtension);
        result.match = candidates.isEmpty() ? NameMatch::none : NameMatch::several;
    }
    if (suffix && m_byNameSuffix.size() < rememberedTypesCap)
        m_byNameSuffix.insert(*suffix, result);
    return result;
}

QMimeType FileTypes::ofPackage(const QString &name) const
{
    const QList<QMimeType> candidates = m_database.mimeTypesForFileName(name);
    return candidates.isEmpty() ? QMimeType() : candidates.first();
}

QMimeType FileTypes::fullMatch(const QString &name, NameMatch match, const QByteArray &data) const
{
    return match == NameMatch::several ? m_database.mimeTypeForFileNameAndData(name, data)
                                       : m_database.mimeTypeForData(data);
}

QMimeType FileTypes::byContent(const QString &name, NameMatch match, const QByteArray &head)
{
    // Content that no rule matches can only be told as empty, text or
    // binary, and the answer follows from that and the name's candidates:
    // a one-byte stand-in of the same sort gets it, and it is remembered.
    using SharedMimeInfo::MagicScreen;
    static const QByteArray text("a"), binary("\x01", 1);
    const MagicScreen &screen = MagicScreen::instance();
    static const bool standInsPass = !screen.mayMatch(text) && !screen.mayMatch(binary);
    if (!standInsPass || screen.mayMatch(head))
        return fullMatch(name, match, head);
    const QByteArray &standIn = head.isEmpty() ? head : MagicScreen::looksLikeText(head) ? text : binary;
    const std::optional<QString> suffix = match == NameMatch::several ? rememberedSuffix(name) : QString();
    if (!suffix)
        return fullMatch(name, match, standIn);
    const QString key = QString::number(standIn.size()) + QString::fromLatin1(standIn) + u'/' + *suffix;
    if (const auto known = m_ofPlainContent.constFind(key); known != m_ofPlainContent.constEnd())
        return *known;
    const QMimeType type = fullMatch(name, match, standIn);
    if (m_ofPlainContent.size() < rememberedTypesCap)
        m_ofPlainContent.insert(key, type);
    return type;
}
