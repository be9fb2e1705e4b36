// What the tests of the REST calls share: a scripted backend, a signed-in user, empty tables.
#pragma once

#include "support/fake_web_exchange.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <utility>

constexpr const char* k_backend = "http://backend.test:3600";

/// Statuses that a server may send; every call takes one or two of them for its success.
constexpr std::uint32_t k_statuses[] = {100, 199, 200, 201, 202, 204, 301, 302, 400,
                                        401, 403, 404, 409, 422, 429, 500, 503, 999};

class CallsTest : public testing::Test {
  protected:
    CallsTest();
    ~CallsTest() override;

    /// The error text; empty again for the next call.
    std::string take_error();

    FakeWeb web;
    char error_text[256] = "";
    const std::span<char> error{error_text};
};

/// A plain reading of the escaping: what `text` becomes in a buffer of `size` bytes.
std::string plainly_escaped(const std::string& text, std::size_t size);

/// {"KEY":"VALUE","KEY":"VALUE"...} with the values as they are.
std::string json_object(std::initializer_list<std::pair<const char*, std::string>> members);
