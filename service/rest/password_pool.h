// Hashes and checks passwords on threads of its own, for each takes a good part of a second on
// purpose. Used by the sign-in answers.
#pragma once

#include "base/worker.h"
#include "service/rest/password_hash.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

/// Owned and called by one thread, which is the one that gets the results, out of deliver().
class PasswordPool {
  public:
    /// `threads` 0: everything is done at once, in the call.
    PasswordPool(int threads, PasswordCost cost);
    PasswordPool(const PasswordPool&) = delete;
    PasswordPool& operator=(const PasswordPool&) = delete;
    ~PasswordPool();

    /// Starts the threads. False when the system gives none, or no memory for a hash.
    bool start();

    /// Hands over the hash of `password`, empty when there is no memory for it. False, and nothing
    /// is called, when too many are waiting.
    bool hash(std::string password, std::function<void(const std::string& hash)> done);

    /// Hands over whether `password` is the one of `hash`. An empty hash fits none, and takes as
    /// long to find out. False as above.
    bool check(std::string password, std::string hash,
               std::function<void(PasswordCheck result)> done);

    /// Readable when deliver() has something to do.
    int ready_file() const { return m_ready; }

    /// Calls what was asked for with its result.
    void deliver();

    /// How many are under way.
    std::size_t waiting() const { return m_under_way; }

  private:
    struct Job {
        std::string password;
        std::string hash; // to compare with, then the result
        bool is_check = false;
        PasswordCheck result = PasswordCheck::wrong;
        std::function<void(const Job&)> done;
    };
    using JobPtr = std::unique_ptr<Job>;

    bool submit(JobPtr job);
    void work();
    void perform(Job& job) const;

    const int m_threads;
    const PasswordCost m_cost;
    std::string m_nobodys_hash; // compared with where there is no account
    int m_ready;                // an event file
    std::size_t m_under_way = 0;
    std::vector<std::unique_ptr<Worker>> m_workers;

    std::mutex m_mutex; // what follows
    std::condition_variable m_changed;
    std::deque<JobPtr> m_waiting;
    std::deque<JobPtr> m_finished;
    bool m_is_ending = false;
};
