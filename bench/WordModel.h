// The made-up language the generated libraries are written in: 50,000 words
// drawn by Zipf's law, with the words people look for at the ranks a
// person's documents would give them, and ten topics that gather their
// words. Shared by the search benchmark's passages and the million-file
// tree's names.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace BenchWords {

using Random = std::mt19937_64;

inline double uniform(Random &random)
{
    return std::uniform_real_distribution<double>(0.0, 1.0)(random);
}

inline int below(Random &random, int n)
{
    return int(random() % std::uint64_t(n));
}

constexpr int vocabularySize = 50'000;
// Share of a request word's occurrences that sit in the files of its topic.
constexpr double topicalShare = 0.75;
// Share of text-bearing files that are about one topic.
constexpr double topicalFiles = 0.5;

enum Topic { money, home, health, travel, work, business, career, study, tech, family, topicCount };

struct RequestWord
{
    const char *word;
    Topic topic;
};

// The words the requests look for, by tier, each tier from the most to the
// least frequent in a person's documents. A tier spans a range of ranks in
// the background language; its words are spread evenly over it on a log
// scale.
struct Tier
{
    int firstRank;
    int lastRank;
    std::vector<RequestWord> words;
};

inline const Tier tiers[] = {
    {150, 500, {{"project", work}, {"meeting", work}, {"report", work}, {"notes", work}, {"school", study},
                {"phone", home}, {"water", home}, {"return", money}, {"offer", career}, {"letter", career}}},
    {500, 2500, {{"bank", money},        {"tax", money},         {"design", business},    {"research", study},
                 {"paper", study},       {"car", health},        {"error", tech},         {"statement", money},
                 {"application", travel}, {"contract", business}, {"security", tech},     {"budget", business},
                 {"strategy", business}, {"insurance", health},  {"medical", health},     {"internet", home},
                 {"server", tech},       {"hotel", travel},      {"flight", travel},      {"holiday", travel},
                 {"agreement", business}, {"signed", business},  {"minutes", work},       {"agenda", work},
                 {"conference", career}, {"interview", career},  {"marketing", business}, {"proposal", business},
                 {"slides", work},       {"kitchen", home},      {"garden", home},        {"repair", home},
                 {"manual", home},       {"bill", money},        {"invoice", money},      {"receipt", money},
                 {"salary", money},      {"booking", travel},    {"scan", travel},        {"dog", health},
                 {"wedding", family},    {"birthday", family}}},
    {2500, 10'000, {{"password", tech},   {"backup", tech},       {"quarterly", work},   {"mortgage", money},
                    {"pension", money},   {"passport", travel},   {"visa", travel},      {"recipe", family},
                    {"resume", career},   {"electricity", home},  {"lease", home},       {"warranty", home},
                    {"thesis", study},    {"homework", study},    {"prescription", health}, {"deployment", tech},
                    {"renovation", home}, {"roadmap", work},      {"deck", work},        {"onboarding", career},
                    {"payslip", money}}},
};

inline const char *const syllables[] = {"ka", "lo", "mi", "ren", "tor", "sa", "vel", "du", "pri", "na", "ost",
                                 "ba", "cle", "fu", "gan", "hi", "jo", "ler", "mun", "pe", "qui", "ras"};

// The made-up word of a rank: its digits in base 22 spelled as syllables, so
// the most frequent words are the shortest, as function words are.
inline std::string madeUpWord(int rank)
{
    std::string word;
    for (int n = rank; n > 0; n = (n - 1) / int(std::size(syllables)))
        word += syllables[(n - 1) % int(std::size(syllables))];
    return word;
}

// Draws words by Zipf's law over the vocabulary, with the request words at
// their ranks; the files of a topic draw extra words of that topic.
class WordModel
{
public:
    WordModel()
    {
        m_words.resize(vocabularySize);
        std::vector<double> weight(vocabularySize);
        for (int rank = 1; rank <= vocabularySize; ++rank) {
            m_words[size_t(rank - 1)] = madeUpWord(rank);
            weight[size_t(rank - 1)] = 1.0 / rank;
        }
        double harmonic = 0;
        for (double w : weight)
            harmonic += w;

        std::vector<double> topicFrequency(topicCount, 0.0);
        for (const Tier &tier : tiers) {
            const double steps = double(tier.words.size());
            for (size_t i = 0; i < tier.words.size(); ++i) {
                const double at = (double(i) + 0.5) / steps;
                const int rank = int(std::lround(tier.firstRank * std::pow(double(tier.lastRank) / tier.firstRank, at)));
                const RequestWord &word = tier.words[i];
                m_words[size_t(rank - 1)] = word.word;
                m_ranks.emplace_back(word.word, rank);
                // Most of the word's occurrences move to its topic's files.
                weight[size_t(rank - 1)] *= 1.0 - topicalShare;
                const double frequency = 1.0 / rank / harmonic;
                topicFrequency[word.topic] += frequency;
                m_topicRanks[word.topic].push_back(rank);
                m_topicCumulative[word.topic].push_back(frequency + (m_topicCumulative[word.topic].empty()
                                                                         ? 0.0
                                                                         : m_topicCumulative[word.topic].back()));
            }
        }
        m_cumulative.resize(weight.size());
        std::partial_sum(weight.begin(), weight.end(), m_cumulative.begin());
        // A topic's files hold about topicalFiles / topicCount of all words;
        // they take topicalShare of its words' occurrences.
        const double topicWordShare = topicalFiles / double(topicCount);
        for (int topic = 0; topic < topicCount; ++topic)
            m_topicRate[size_t(topic)] = topicalShare * topicFrequency[size_t(topic)] / topicWordShare;
    }

    // The rank of any word of running text.
    int rank(Random &random) const
    {
        const double at = uniform(random) * m_cumulative.back();
        return 1 + int(std::upper_bound(m_cumulative.begin(), m_cumulative.end(), at) - m_cumulative.begin());
    }

    const std::string &word(Random &random) const { return m_words[size_t(rank(random) - 1)]; }

    // A word that could name something: not among the hundred most frequent.
    const std::string &contentWord(Random &random) const
    {
        int drawn = rank(random);
        while (drawn <= 100)
            drawn = rank(random);
        return m_words[size_t(drawn - 1)];
    }

    // A word of the topic, in proportion to its frequency.
    const std::string &topicWord(int topic, Random &random) const
    {
        const auto &cumulative = m_topicCumulative[size_t(topic)];
        const double at = uniform(random) * cumulative.back();
        const size_t index = size_t(std::upper_bound(cumulative.begin(), cumulative.end(), at) - cumulative.begin());
        return m_words[size_t(m_topicRanks[size_t(topic)][std::min(index, cumulative.size() - 1)] - 1)];
    }

    // A word of running text in a file about the topic, or about none (-1).
    const std::string &fileWord(int topic, Random &random) const
    {
        if (topic >= 0 && uniform(random) < m_topicRate[size_t(topic)])
            return topicWord(topic, random);
        return word(random);
    }

    const std::vector<std::pair<std::string, int>> &requestRanks() const { return m_ranks; }

private:
    std::vector<std::string> m_words; // by rank, from 1
    std::vector<double> m_cumulative;
    std::vector<int> m_topicRanks[topicCount];
    std::vector<double> m_topicCumulative[topicCount];
    double m_topicRate[topicCount] = {};
    std::vector<std::pair<std::string, int>> m_ranks;
};

} // namespace BenchWords
