// See sign_in_fixture.h.
#include "sign_in_fixture.h"

#include "test_backend_url.h"

AlertTexts take_alert() {
    const AlertTexts texts = take_alert_texts();
    EXPECT_EQ(find_dialog(), nullptr);
    return texts;
}

Texts requests_of(const WebScript& web) {
    Texts requests;
    for (const WebSeen& request : web.seen()) {
        requests.push_back(request.method + " " + request.target);
    }
    return requests;
}

SignInFixture::SignInFixture() {
    set_test_backend_url(m_web.url());
}
