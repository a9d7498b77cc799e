// The Ask screen in the real window against the fake Messages API: lookups,
// answers streamed and rendered, sources opened, stop, failure, new chat.
#include "WindowFixture.h"

#include "ask/AskModel.h"
#include "store/IndexStore.h"
#include "support/FakeClaudeServer.h"
#include "support/TestEnvironment.h"

#include <QSignalSpy>

using TestEnvironment::waitUntil;
using namespace Qt::StringLiterals;

class AskScreenTest : public WindowFixture
{
protected:
    // The window on the fake server, with a key, a library whose lease and
    // electricity plan speak of rent, and the Ask screen open.
    void openWithKey(const QString &scheme = {})
    {
        if (!scheme.isEmpty())
            qputenv("LARDER_COLOR_SCHEME", scheme.toUtf8());
        qputenv("LARDER_ANTHROPIC_BASE_URL", m_server.baseURL().toUtf8());
        open();
        for (const FileRecord &file : makeLibrary(m_model->store())) {
            const QString passage = file.name == "Lease agreement.pdf" ? u"The tenant pays the rent on the first of each month."_s
                                  : file.name == "Electricity plan.pdf" ? u"The rent includes the green electricity tariff."_s
                                  : QString();
            if (!passage.isEmpty())
                m_model->store().passages().setPassages(u"file"_s, QString::number(file.id), file.name, {passage});
            m_ids.insert(file.name, file.id);
        }
        m_model->setAPIKey(u"sk-test"_s);
        press(Qt::Key_K);
        ASSERT_EQ(screen(), "ask");
    }

    AskModel *ask() const { return m_model->ask(); }
    const AskModel::Turn &lastTurn() const { return ask()->turns().last(); }
    bool settled() const
    {
        return waitUntil([&] { return !ask()->isBusy() && !ask()->turns().isEmpty() && lastTurn().done; }, 8000);
    }

    void askQuestion(const QString &question)
    {
        click("askField");
        typeKeys(question);
        press(Qt::Key_Return, Qt::NoModifier);
    }

    // The source number the last turn gave the file of that name.
    int numberOf(const QString &name) const
    {
        const auto &citations = lastTurn().citations;
        for (auto it = citations.constBegin(); it != citations.constEnd(); ++it)
            if (it->ownerID == QString::number(m_ids.value(name)))
                return it.key();
        return -1;
    }

    // Clicks the chip of a source number inside a rendered answer.
    void clickChip(const QString &answerName, int number)
    {
        QQuickItem *answer = item(answerName);
        ASSERT_NE(answer, nullptr);
        QString plain;
        QMetaObject::invokeMethod(answer, "getText", Q_RETURN_ARG(QString, plain), Q_ARG(int, 0),
                                  Q_ARG(int, answer->property("length").toInt()));
        const qsizetype at = plain.indexOf(u"\u202f%1\u202f"_s.arg(number));
        ASSERT_GE(at, 0) << plain.toStdString();
        QRectF box;
        QMetaObject::invokeMethod(answer, "positionToRectangle", Q_RETURN_ARG(QRectF, box), Q_ARG(int, int(at + 1)));
        const QPointF point = answer->mapToScene(QPointF(box.right() + 1, box.center().y()));
        QTest::mouseClick(window(), Qt::LeftButton, Qt::NoModifier, point.toPoint());
    }

    QString textOf(const QString &name) const { return item(name) ? item(name)->property("text").toString() : QString(); }

    FakeClaudeServer m_server;
    QHash<QString, qint64> m_ids;
};

TEST_F(AskScreenTest, WithoutAKeyTheEntryLeadsToSettings)
{
    qunsetenv("ANTHROPIC_API_KEY");
    open();
    m_model->setAPIKey(std::nullopt);
    click("sidebar:ask");
    ASSERT_EQ(screen(), "ask");
    EXPECT_TRUE(item("askAddKey")->isVisible());
    EXPECT_FALSE(item("askField")->isVisible());
    EXPECT_TRUE(item("askEmpty")->isVisible());
    EXPECT_FALSE(item("askSuggestion:0")->isVisible()) << "nothing to ask with yet";
    capture("50-ask-no-key");

    QSignalSpy requested(m_shell.get(), &Shell::settingsRequested);
    click("askAddKey");
    EXPECT_EQ(requested.value(0).value(0).toString(), "claude");

    // A key turns the button back into the entry row.
    m_model->setAPIKey(u"sk-test"_s);
    EXPECT_FALSE(item("askAddKey")->isVisible());
    EXPECT_TRUE(item("askField")->isVisible());
    EXPECT_TRUE(item("askSuggestion:0")->isVisible());
    capture("51-ask-empty");
}

TEST_F(AskScreenTest, AnAnswerStreamsWithItsLookupsAndOpensWhatItCites)
{
    openWithKey();
    // The agent searches for rent, then answers citing what it found.
    m_server.enqueue(FakeReply::events(
        QList<QByteArray>{FakeReply::messageStart()}
        + FakeReply::toolUseBlock(0, u"t1"_s, u"search_library"_s, {uR"({"query":"rent",)"_s, uR"("scope":"all"})"_s})
        + QList<QByteArray>{FakeReply::messageDelta("tool_use", 5), FakeReply::messageStop()}));
    m_server.enqueue(FakeReply::streamedMessage({u"The rent is due on the **first"_s, u"** of each month [S1], and it includes "_s,
                            u"the green electricity tariff [S2].\n\n- Paid by the tenant [S1]\n- A mark with no source [S9]"_s}));
    askQuestion(u"When is the rent due?"_s);
    ASSERT_TRUE(settled()) << lastTurn().error.value_or(QString()).toStdString();
    EXPECT_EQ(textOf("askQuestion:0"), "When is the rent due?");
    EXPECT_EQ(textOf("askStep:0:0"), "Searched for “rent”");
    EXPECT_FALSE(item("askThinking:0")->isVisible());

    // The answer is rendered: bold and a list, source numbers as chips.
    const QString html = textOf("askAnswer:0");
    EXPECT_TRUE(html.contains("font-weight:") && html.contains("<li")) << html.toStdString();
    EXPECT_FALSE(html.contains("**") || html.contains("[S1]"));

    // The sources in the order first cited; the mark without one has no row.
    const int lease = numberOf("Lease agreement.pdf");
    const int plan = numberOf("Electricity plan.pdf");
    ASSERT_TRUE(lease > 0 && plan > 0) << lastTurn().citations.size();
    for (int number : {1, 2})
        EXPECT_TRUE(item(u"askSource:0:%1"_s.arg(number))->isVisible()) << number;
    EXPECT_EQ(item("askSource:0:9"), nullptr);
    capture("52-ask-answer");

    // A chip in the text opens its file in the inspector.
    clickChip("askAnswer:0", lease);
    ASSERT_TRUE(waitUntil([&] { return m_model->inspectedFile().has_value(); }));
    EXPECT_EQ(m_model->inspectedFile()->id, m_ids.value("Lease agreement.pdf"));
    m_model->closePreview();
    ASSERT_TRUE(waitUntil([&] { return item("inspector")->isVisible(); }));
    capture("53-ask-citation-inspector");
    // So does a row of the source list; a chip with no source does nothing.
    click(u"askSource:0:%1"_s.arg(plan));
    ASSERT_TRUE(waitUntil([&] { return m_model->inspectedFile()->id == m_ids.value("Electricity plan.pdf"); }));
    m_model->closePreview();
    clickChip("askAnswer:0", 9);
    EXPECT_EQ(m_model->inspectedFile()->id, m_ids.value("Electricity plan.pdf"));
}

TEST_F(AskScreenTest, StopFailureAndNewChatKeepWhatTheyShould)
{
    openWithKey(u"dark"_s);
    m_server.enqueue(FakeReply::streamedMessage({u"The lease runs for **twelve months**."_s}));
    askQuestion(u"How long is the lease?"_s);
    ASSERT_TRUE(settled());

    // Mid-stream (the first piece, then a stall) the partial bold renders.
    FakeReply slow = FakeReply::streamedMessage({u"Rent is paid on the **first"_s, u" of the month**."_s});
    slow.chunks = {slow.chunks.mid(0, 3).join(), slow.chunks.mid(3).join()};
    slow.delayBetweenChunksMs = 20000;
    m_server.enqueue(slow);
    askQuestion(u"When is rent paid?"_s);
    ASSERT_TRUE(waitUntil([&] { return textOf("askAnswer:1").contains("first"); }, 8000));
    EXPECT_FALSE(textOf("askAnswer:1").contains("**"));
    EXPECT_EQ(item("askSend")->property("stops"), true);
    capture("54-ask-streaming");
    click("askSend");
    EXPECT_FALSE(ask()->isBusy());
    EXPECT_EQ(lastTurn().answer, "Rent is paid on the **first");
    EXPECT_FALSE(item("askThinking:1")->isVisible());
    EXPECT_FALSE(textOf("askAnswer:1").contains("**")) << "a stopped answer is rendered as it stands";

    // A stream that breaks mid-answer: what came stays, the error is under
    // it, and the turns before it stay too.
    FakeReply cut = FakeReply::events({FakeReply::messageStart(), FakeReply::textBlock(0, {u"The deposit is"_s}).at(0),
                                       FakeReply::textBlock(0, {u"The deposit is"_s}).at(1)});
    cut.cutAfterChunks = true;
    m_server.enqueue(cut);
    askQuestion(u"And the deposit?"_s);
    ASSERT_TRUE(settled());
    // The view shows the ended turn once it has laid it out.
    EXPECT_TRUE(waitUntil([&] { return textOf("askError:2") == lastTurn().error.value_or("none"); }))
        << textOf("askError:2").toStdString();
    EXPECT_TRUE(textOf("askAnswer:2").contains("The deposit is"));
    EXPECT_TRUE(textOf("askAnswer:0").contains("twelve months"));
    capture("55-ask-failed");

    // The smallest window still shows the entry row and the last turn.
    window()->resize(window()->minimumSize());
    capture("56-ask-minimum-size");
    window()->resize(1240, 800);

    // New chat: the conversation is gone and the empty state is back.
    click("newChat");
    ASSERT_TRUE(waitUntil([&] { return item("askEmpty")->isVisible(); }));
    EXPECT_EQ(item("askTurn:0"), nullptr);
}
