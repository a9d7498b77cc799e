// The one secret of the program: the user's Anthropic API key. It lives in
// the desktop's keyring, never in settings or in the library; the variable
// ANTHROPIC_API_KEY serves when the keyring holds none. Reads are served from
// memory after the first, since the client asks before every request.
#pragma once

#include "platform/SecretStore.h"

#include <memory>
#include <mutex>
#include <optional>

class APIKeyStore
{
public:
    static constexpr const char *service = "co.norvale.larder";
    static constexpr const char *account = "anthropic-api-key";

    // Over the given store; tests hand in one under a service name of their own.
    explicit APIKeyStore(std::unique_ptr<SecretStore> secrets);

    // The process's store, over the keyring item of the service above, or of
    // LARDER_KEYRING_SERVICE when that is set (the tests set it, so that they
    // never touch a real key).
    static APIKeyStore &shared();
    static QString serviceName();

    // The keyring's key, else ANTHROPIC_API_KEY (empty included), else none.
    // A lookup that finds nothing is remembered too.
    std::optional<QString> key();

    // Saves the key, trimmed; an absent or empty key deletes the keyring's
    // item, and from then on the environment is not consulted either. The
    // key serves this process whatever the keyring answered; the answer is
    // returned for the command line, which tells the user.
    SecretStore::Status setKey(const std::optional<QString> &key);

private:
    std::mutex m_lock; // guards m_cached and every keyring call
    std::unique_ptr<SecretStore> m_secrets;
    // Outer level absent: not looked up yet; inner absent: there is no key.
    std::optional<std::optional<QString>> m_cached;
};
