// The interface beside a scripted backend, for the tests of what the sign-in does.
#pragma once

#include "interface_fixture.h"

#include "support/web_script.h"

#include <string>
#include <vector>

/// Waits for the only alert over the window, reads and closes it.
AlertTexts take_alert();

/// "METHOD target" of every request, in order.
Texts requests_of(const WebScript& web);

/// The backend is the scripted server.
class SignInFixture : public InterfaceTest {
  protected:
    SignInFixture();

    WebScript m_web;
};
