// See base/worker.h.
#include "base/worker.h"

#include <system_error>
#include <utility>

Worker::~Worker() {
    request_stop();
    wait_and_release(0);
}

bool Worker::start(Body body) {
    if (exists()) {
        request_stop();
        wait_and_release(0);
    }
    auto run = std::make_shared<Run>();
    try {
        m_thread = std::thread([run, body = std::move(body)]() mutable {
            body(run->stop);
            body = nullptr; // what the body owned is gone before anybody learns of its end
            run->ended.set();
        });
    } catch (const std::system_error&) {
        return false;
    }
    m_run = std::move(run);
    return true;
}

void Worker::request_stop() {
    if (m_run) {
        m_run->stop.set();
    }
}

bool Worker::is_running() const {
    return m_run && !m_run->ended.is_set();
}

bool Worker::wait_and_release(std::uint32_t milliseconds) {
    if (!m_run) {
        return true;
    }
    const bool own_thread = m_thread.get_id() == std::this_thread::get_id();
    const bool ended = !own_thread && m_run->ended.wait_ms(milliseconds);
    if (ended) {
        m_thread.join();
    } else {
        m_thread.detach();
    }
    m_run.reset();
    return ended;
}
