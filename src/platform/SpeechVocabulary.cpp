#include "platform/SpeechVocabulary.h"

#include "platform/SpeechEngine.h"

#include <QFile>

SpeechVocabulary SpeechVocabulary::load(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw SpeechEngineError(QStringLiteral("The speech vocabulary %1 is missing.").arg(path));
    std::vector<QByteArray> pieces;
    for (const QByteArray &line : file.readAll().split('\n'))
        pieces.push_back(line);
    return SpeechVocabulary(std::move(pieces));
}

SpeechVocabulary::SpeechVocabulary(std::vector<QByteArray> pieces)
    : m_pieces(std::move(pieces))
{
}

QByteArray SpeechVocabulary::piece(int64_t token) const
{
    return token >= 0 && token < int64_t(m_pieces.size()) ? m_pieces[size_t(token)] : QByteArray();
}

QString SpeechVocabulary::text(std::span<const int64_t> tokens) const
{
    static const QByteArray wordStart("\xe2\x96\x81"); // "▁"
    QByteArray bytes;
    for (int64_t token : tokens) {
        if (token < 0 || token >= int64_t(m_pieces.size()))
            continue;
        const QByteArray &piece = m_pieces[size_t(token)];
        if (piece == "<s>" || piece == "</s>" || piece == "<unk>")
            continue;
        if (piece.size() == 6 && piece.startsWith("<0x") && piece.endsWith('>')) {
            bool ok = false;
            const int byte = piece.mid(3, 2).toInt(&ok, 16);
            if (ok) {
                bytes.append(char(byte));
                continue;
            }
        }
        QByteArray copy = piece;
        bytes.append(copy.replace(wordStart, " "));
    }
    return QString::fromUtf8(bytes).trimmed();
}
