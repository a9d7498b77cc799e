// Every failure of a Claude request, worded so that its description can go on
// screen as it stands.
#pragma once

#include "core/Errors.h"

#include <optional>

class ClaudeError : public DescribedError
{
public:
    enum class Kind { http, refusal, invalidResponse, network, missingAPIKey, truncated };

    static ClaudeError http(int status, std::optional<QString> type, QString message);
    static ClaudeError refusal(std::optional<QString> category);
    static ClaudeError invalidResponse(QString detail);
    static ClaudeError network(QString detail);
    static ClaudeError missingAPIKey();
    static ClaudeError truncated();

    Kind kind() const { return m_kind; }
    // The status of an http error, else 0.
    int status() const { return m_status; }
    // The server's error type of an http error.
    std::optional<QString> type() const { return m_type; }
    // The message of an http error, the category of a refusal, the detail of
    // an invalid response or a network failure.
    QString message() const { return m_message; }
    std::optional<QString> category() const { return m_type; }

    QString description() const override;

    // Whether another attempt may succeed: the transient statuses and
    // network failures.
    bool isRetryable() const;

    friend bool operator==(const ClaudeError &a, const ClaudeError &b);

private:
    explicit ClaudeError(Kind kind);

    Kind m_kind;
    int m_status = 0;
    std::optional<QString> m_type;
    QString m_message;
};

// The public Claude web site, where organizations claim their credits.
inline constexpr const char *claudeWebSiteName = "claude.ai";
