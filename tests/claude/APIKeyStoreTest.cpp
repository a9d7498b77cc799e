#include "claude/APIKeyStore.h"

#include <gtest/gtest.h>

namespace {

// A keyring of one item in memory that counts how often it is read or emptied.
// The real keyring is exercised through `larder key` in ClaudeCommandsTest.
class MemorySecretStore : public SecretStore
{
public:
    std::optional<QString> item;
    Status answer = Status::ok; // what write and remove report
    int reads = 0;
    int removals = 0;

    Lookup read() override
    {
        ++reads;
        return item ? Lookup{Status::ok, item} : Lookup{Status::notFound, std::nullopt};
    }
    Status write(const QString &secret) override
    {
        if (answer == Status::ok)
            item = secret;
        return answer;
    }
    Status remove() override
    {
        ++removals;
        item.reset();
        return answer;
    }
};

void setEnvironmentKey(const std::optional<QByteArray> &value)
{
    if (value)
        qputenv("ANTHROPIC_API_KEY", *value);
    else
        qunsetenv("ANTHROPIC_API_KEY");
}

} // namespace

TEST(APIKeyStore, KeyringBeatsEnvironmentAndEveryLookupIsRemembered)
{
    const struct
    {
        std::optional<QString> keyring;
        std::optional<QByteArray> environment;
        std::optional<QString> expected;
    } cases[] = {
        {std::nullopt, std::nullopt, std::nullopt},
        {QStringLiteral("sk-ring"), QByteArray("sk-env"), QStringLiteral("sk-ring")},
        {std::nullopt, QByteArray("sk-env"), QStringLiteral("sk-env")},
        {std::nullopt, QByteArray(""), QString()},
    };
    for (const auto &c : cases) {
        setEnvironmentKey(c.environment);
        auto secrets = std::make_unique<MemorySecretStore>();
        MemorySecretStore &ring = *secrets;
        ring.item = c.keyring;
        APIKeyStore store(std::move(secrets));
        EXPECT_EQ(store.key(), c.expected);
        setEnvironmentKey(std::nullopt);
        ring.item = QStringLiteral("changed behind its back");
        EXPECT_EQ(store.key(), c.expected);
        EXPECT_EQ(ring.reads, 1);
    }
}

// Whatever the keyring answers, a saved key serves this process; an empty
// one deletes it, and the environment's key does not come back.
TEST(APIKeyStore, WritingTrimsAndEmptyDeletesForTheRestOfTheProcess)
{
    for (const SecretStore::Status answer : {SecretStore::Status::ok, SecretStore::Status::noKeyring}) {
        setEnvironmentKey("sk-env");
        auto secrets = std::make_unique<MemorySecretStore>();
        MemorySecretStore &ring = *secrets;
        ring.answer = answer;
        APIKeyStore store(std::move(secrets));

        EXPECT_EQ(store.setKey(QStringLiteral("  sk-new\n")), answer);
        EXPECT_EQ(ring.item, answer == SecretStore::Status::ok ? std::optional<QString>(QStringLiteral("sk-new")) : std::nullopt);
        EXPECT_EQ(store.key(), QStringLiteral("sk-new"));
        for (const std::optional<QString> &nothing : {std::optional<QString>(), std::optional<QString>(QStringLiteral(" \n"))}) {
            store.setKey(nothing);
            EXPECT_FALSE(ring.item);
            EXPECT_FALSE(store.key());
        }
        EXPECT_EQ(ring.removals, 2);
        EXPECT_EQ(ring.reads, 0);
        setEnvironmentKey(std::nullopt);
    }
}
