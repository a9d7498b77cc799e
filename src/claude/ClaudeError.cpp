#include "claude/ClaudeError.h"

ClaudeError::ClaudeError(Kind kind)
    : m_kind(kind)
{
}

ClaudeError ClaudeError::http(int status, std::optional<QString> type, QString message)
{
    ClaudeError error(Kind::http);
    error.m_status = status;
    error.m_type = std::move(type);
    error.m_message = std::move(message);
    return error;
}

ClaudeError ClaudeError::refusal(std::optional<QString> category)
{
    ClaudeError error(Kind::refusal);
    error.m_type = std::move(category);
    return error;
}

ClaudeError ClaudeError::invalidResponse(QString detail)
{
    ClaudeError error(Kind::invalidResponse);
    error.m_message = std::move(detail);
    return error;
}

ClaudeError ClaudeError::network(QString detail)
{
    ClaudeError error(Kind::network);
    error.m_message = std::move(detail);
    return error;
}

ClaudeError ClaudeError::missingAPIKey()
{
    return ClaudeError(Kind::missingAPIKey);
}

ClaudeError ClaudeError::truncated()
{
    return ClaudeError(Kind::truncated);
}

QString ClaudeError::description() const
{
    switch (m_kind) {
    case Kind::http:
        if (m_type == QLatin1String("billing_error") || m_message.toLower().contains(QLatin1String("credit balance")))
            return QStringLiteral("Your Claude Console organization is out of credits. Claim your plan's monthly "
                                  "credits in %1 → Settings → Billing.")
                .arg(QLatin1String(claudeWebSiteName));
        switch (m_status) {
        case 529:
            return QStringLiteral("Claude is overloaded right now. Try again shortly.");
        case 429:
            return QStringLiteral("Claude is rate limiting requests. Try again in a moment.");
        case 401:
            return QStringLiteral("Claude rejected the API key. Check it in Settings.");
        default:
            return QStringLiteral("Claude error %1: %2").arg(m_status).arg(m_message);
        }
    case Kind::refusal:
        if (m_type)
            return QStringLiteral("Claude declined this request (%1).").arg(*m_type);
        return QStringLiteral("Claude declined this request.");
    case Kind::invalidResponse:
        return QStringLiteral("Unexpected response from Claude: ") + m_message;
    case Kind::network:
        return QStringLiteral("Couldn't reach Claude: ") + m_message;
    case Kind::missingAPIKey:
        return QStringLiteral("Add your Claude API key in Settings to use AI features.");
    case Kind::truncated:
        return QStringLiteral("Claude's answer was cut off. Try a shorter request.");
    }
    return {};
}

bool ClaudeError::isRetryable() const
{
    if (m_kind == Kind::network)
        return true;
    if (m_kind != Kind::http)
        return false;
    switch (m_status) {
    case 408:
    case 409:
    case 429:
    case 500:
    case 502:
    case 503:
    case 504:
    case 529:
        return true;
    default:
        return false;
    }
}

bool operator==(const ClaudeError &a, const ClaudeError &b)
{
    return a.m_kind == b.m_kind && a.m_status == b.m_status && a.m_type == b.m_type && a.m_message == b.m_message;
}
