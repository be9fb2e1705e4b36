// How the HTTP transport's block for a whole body grows, and what becomes of it when memory ends.
#include "backend/http_transport.h"

#include "support/fake_web_exchange.h"
#include "unit/backend/realloc_record.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace {

class HttpBlock : public testing::Test {
  protected:
    bool get(const FakeWebAnswer& answer) {
        m_web.answer(answer);
        return http_get_binary("http://host/x", &m_status, &m_data, &m_size);
    }
    std::string bytes() const {
        return {reinterpret_cast<const char*>(m_data.get()), static_cast<std::size_t>(m_size)};
    }

    FakeWeb m_web;
    std::uint32_t m_status = 0;
    ByteBlock m_data;
    std::uint64_t m_size = 0;
};

// Bytes that a lost, doubled or misplaced part would show in.
std::string numbered_bytes(std::size_t size) {
    std::string text;
    for (std::size_t number = 0; text.size() < size; ++number) {
        text += std::to_string(number) + ",";
    }
    text.resize(size);
    return text;
}

using Sizes = std::vector<std::size_t>;

struct GrowthCase {
    std::size_t length;
    std::size_t piece;  ///< of the body, at a time
    std::size_t claims; ///< said to be there behind the body
    Sizes blocks;
};

const GrowthCase k_growth_cases[] = {
    {0, 1, 0, {}},
    {1, 1, 0, {1}},
    {1000, 1000, 0, {1000}},
    {1000, 999, 0, {999, 1998}},
    {1000, 500, 0, {500, 1000}},
    {10, 3, 0, {3, 6, 12}},
    {1000, 100, 0, {100, 200, 400, 800, 1600}},
    {7, 1, 0, {1, 2, 4, 8}},
    {3, 3, 50, {3, 96}},
    {0, 1, 50, {50}},
};

TEST_F(HttpBlock, BeginsWithWhatIsThereAndDoublesUntilItHoldsTheRest) {
    for (const GrowthCase& row : k_growth_cases) {
        const std::string body = numbered_bytes(row.length);
        const ReallocRecord record;
        EXPECT_TRUE(get({.body = body, .piece = row.piece, .claims = row.claims}));
        EXPECT_EQ(record.sizes(), row.blocks) << row.length << " by " << row.piece;
        EXPECT_EQ(bytes(), body);
    }
}

TEST_F(HttpBlock, OfMegabytesIsMovedAFewTimesOnly) {
    const std::string body = numbered_bytes(5U << 20U);
    for (const std::size_t piece : {1U << 10U, 8192U, 65'521U}) {
        const ReallocRecord record;
        EXPECT_TRUE(get({.body = body, .piece = piece}));
        EXPECT_LE(record.sizes().size(), 14U) << piece;
        EXPECT_TRUE(bytes() == body) << piece;
    }
}

TEST_F(HttpBlock, ThatCannotGrowIsGivenBack) {
    for (const std::size_t most : {0U, 99U, 100U, 200U, 799U}) {
        ReallocRecord record;
        record.refuse_above(most);
        EXPECT_FALSE(get({.body = numbered_bytes(1000), .piece = 100}));
        EXPECT_GT(record.sizes().back(), most);
        EXPECT_EQ(m_data, nullptr);
        EXPECT_EQ(m_size, 0U);
        EXPECT_EQ(m_status, 200U);
    }
}

TEST_F(HttpBlock, OfTheGreatestLengthIsAskedForAndOfAGreaterOneNot) {
    constexpr std::size_t k_most = std::numeric_limits<std::size_t>::max() / 2;
    ReallocRecord record;
    record.refuse_above(k_most / 2);
    EXPECT_FALSE(get({.body = "abc", .claims = k_most - 3}));
    ASSERT_EQ(record.sizes().size(), 2U);
    EXPECT_GE(record.sizes()[1], k_most);
    EXPECT_FALSE(get({.body = "abc", .claims = k_most - 2}));
    EXPECT_EQ(record.sizes().size(), 3U) << "its first three bytes only";
    EXPECT_EQ(m_data, nullptr);
}

} // namespace
