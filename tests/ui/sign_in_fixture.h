// The interface beside a scripted backend, for the tests of what the sign-in does.
#pragma once

#include "ui_harness.h"

#include "support/web_script.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

/// What an alert says.
struct AlertTexts {
    std::string title;
    std::string detail;
    bool operator==(const AlertTexts&) const = default;
};

/// Waits for the alert over the window, reads and closes it.
AlertTexts take_alert();

void click(GtkWidget* button);
void press_enter(GtkWidget* entry);
void type(GtkWidget* entry, const std::string& text);
std::string typed(GtkWidget* entry);

/// "METHOD target" of every request, in order.
std::vector<std::string> requests_of(const WebScript& web);

std::string session_file();
std::string settings_file();
void write_session_file(const std::string& contents);
void write_settings_file(const std::string& contents);

/// Nobody is signed in, no file is there, and the backend is the scripted server.
class SignInFixture : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    WebScript m_web;
};
