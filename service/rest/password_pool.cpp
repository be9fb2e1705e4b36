// See service/rest/password_pool.h.
#include "service/rest/password_pool.h"

#include "service/rest/rest_limits.h"

#include <sodium.h>

#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

PasswordPool::PasswordPool(int threads, PasswordCost cost)
    : m_threads(threads), m_cost(cost), m_ready(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    Job job;
    job.password = "nobody's";
    perform(job);
    m_nobodys_hash = job.hash;
}

PasswordPool::~PasswordPool() {
    {
        const std::lock_guard lock(m_mutex);
        m_is_ending = true;
        m_waiting.clear();
    }
    m_changed.notify_all();
    for (const std::unique_ptr<Worker>& worker : m_workers) {
        worker->wait_and_release(Worker::k_forever);
    }
    close(m_ready);
}

bool PasswordPool::start() {
    for (int i = 0; i < m_threads; ++i) {
        m_workers.push_back(std::make_unique<Worker>());
        if (!m_workers.back()->start([this](const StopEvent&) { work(); })) {
            m_workers.pop_back();
            return false;
        }
    }
    return m_ready >= 0 && !m_nobodys_hash.empty();
}

bool PasswordPool::hash(std::string password, std::function<void(const std::string&)> done) {
    auto job = std::make_unique<Job>();
    job->password = std::move(password);
    job->done = [done = std::move(done)](const Job& finished) { done(finished.hash); };
    return submit(std::move(job));
}

bool PasswordPool::check(std::string password, std::string hash,
                         std::function<void(PasswordCheck)> done) {
    auto job = std::make_unique<Job>();
    job->password = std::move(password);
    const bool is_somebodys = !hash.empty();
    job->hash = is_somebodys ? std::move(hash) : m_nobodys_hash;
    job->is_check = true;
    job->done = [done = std::move(done), is_somebodys](const Job& finished) {
        const bool is_nobodys_luck = finished.result == PasswordCheck::fits && !is_somebodys;
        done(is_nobodys_luck ? PasswordCheck::wrong : finished.result);
    };
    return submit(std::move(job));
}

bool PasswordPool::submit(JobPtr job) {
    if (m_under_way >= k_password_queue) {
        return false;
    }
    ++m_under_way;
    if (m_threads == 0) {
        perform(*job);
        --m_under_way;
        job->done(*job);
        return true;
    }
    {
        const std::lock_guard lock(m_mutex);
        m_waiting.push_back(std::move(job));
    }
    m_changed.notify_one();
    return true;
}

void PasswordPool::work() {
    std::unique_lock lock(m_mutex);
    while (true) {
        m_changed.wait(lock, [this] { return m_is_ending || !m_waiting.empty(); });
        if (m_is_ending) {
            return;
        }
        JobPtr job = std::move(m_waiting.front());
        m_waiting.pop_front();
        lock.unlock();
        perform(*job);
        lock.lock();
        m_finished.push_back(std::move(job));
        eventfd_write(m_ready, 1);
    }
}

void PasswordPool::perform(Job& job) const {
    if (job.is_check) {
        job.result = check_password(job.password, job.hash);
    } else {
        job.hash = hash_password(job.password, m_cost);
    }
    sodium_memzero(job.password.data(), job.password.size());
}

void PasswordPool::deliver() {
    eventfd_t count = 0;
    eventfd_read(m_ready, &count);
    std::deque<JobPtr> finished;
    {
        const std::lock_guard lock(m_mutex);
        finished.swap(m_finished);
    }
    for (const JobPtr& job : finished) {
        --m_under_way;
        job->done(*job);
    }
}
