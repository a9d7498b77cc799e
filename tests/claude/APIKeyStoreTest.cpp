#include "claude/APIKeyStore.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// A keyring of one item in memory that counts how often it is read or emptied.
// The real keyring is exercised through `larder key` in ClaudeCommandsTest.
struct MemorySecretStore : SecretStore
{
    std::optional<QString> item;
    Status answer = Status::ok; // what write and remove report
    int reads = 0;
    int removals = 0;

    Lookup read() override { ++reads; return item ? Lookup{Status::ok, item} : Lookup{}; }
    Status write(const QString &secret) override { if (answer == Status::ok) item = secret; return answer; }
    Status remove() override { ++removals; item.reset(); return answer; }
};

void setEnvironmentKey(const std::optional<QByteArray> &value)
{
    value ? qputenv("ANTHROPIC_API_KEY", *value) : qunsetenv("ANTHROPIC_API_KEY");
}

} // namespace

TEST(APIKeyStore, KeyringBeatsEnvironmentAndEveryLookupIsRemembered)
{
    const struct { std::optional<QString> keyring; std::optional<QByteArray> environment; std::optional<QString> expected; } cases[] = {
        {{}, {}, {}}, {u"sk-ring"_s, "sk-env", u"sk-ring"_s}, {{}, "sk-env", u"sk-env"_s}, {{}, "", QString()},
    };
    for (const auto &c : cases) {
        setEnvironmentKey(c.environment);
        auto *ring = new MemorySecretStore;
        ring->item = c.keyring;
        APIKeyStore store{std::unique_ptr<SecretStore>(ring)};
        EXPECT_EQ(store.key(), c.expected);
        setEnvironmentKey(std::nullopt);
        ring->item = u"changed behind its back"_s;
        EXPECT_EQ(store.key(), c.expected);
        EXPECT_EQ(ring->reads, 1);
    }
}

// Whatever the keyring answers, a saved key serves this process; an empty
// one deletes it, and the environment's key does not come back.
TEST(APIKeyStore, WritingTrimsAndEmptyDeletesForTheRestOfTheProcess)
{
    for (const SecretStore::Status answer : {SecretStore::Status::ok, SecretStore::Status::noKeyring}) {
        setEnvironmentKey("sk-env");
        auto *ring = new MemorySecretStore;
        ring->answer = answer;
        APIKeyStore store{std::unique_ptr<SecretStore>(ring)};
        EXPECT_EQ(store.setKey(u"  sk-new\n"_s), answer);
        EXPECT_EQ(ring->item, answer == SecretStore::Status::ok ? std::optional(u"sk-new"_s) : std::nullopt);
        EXPECT_EQ(store.key(), u"sk-new"_s);
        for (const std::optional<QString> &nothing : {std::optional<QString>(), std::optional(u" \n"_s)}) {
            store.setKey(nothing);
            EXPECT_FALSE(ring->item || store.key());
        }
        EXPECT_EQ(ring->removals, 2);
        EXPECT_EQ(ring->reads, 0);
        setEnvironmentKey(std::nullopt);
    }
}
