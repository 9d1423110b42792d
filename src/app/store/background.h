// The one way the store's work leaves the main executor and comes back:
// `work` runs on a queue; what it returned, or the exception it threw,
// reaches `done` on the main executor with the store, unless the store is
// gone by then (a window closed meanwhile).
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <variant>

#include "platform/executor.h"

namespace quorvane {

class AppStore;

// What came of work done away from the main executor: its value, or why
// there is none.
template <typename Value>
struct Outcome {
  std::optional<Value> value;
  std::exception_ptr failure;

  // The value; throws the failure.
  const Value& get() const {
    if (failure) std::rethrow_exception(failure);
    return *value;
  }
};

template <typename Work, typename Done>
void runInBackground(const std::weak_ptr<AppStore*>& alive, Executor& queue, Executor& main,
                     Work work, Done done) {
  using Returned = std::invoke_result_t<Work&>;
  using Value = std::conditional_t<std::is_void_v<Returned>, std::monostate, Returned>;
  queue.post([alive, &main, work, done]() mutable {
    Outcome<Value> outcome;
    try {
      if constexpr (std::is_void_v<Returned>) {
        work();
        outcome.value.emplace();
      } else {
        outcome.value.emplace(work());
      }
    } catch (...) {
      outcome.failure = std::current_exception();
    }
    main.post([alive, done, outcome = std::move(outcome)]() mutable {
      if (const std::shared_ptr<AppStore*> store = alive.lock()) done(**store, outcome);
    });
  });
}

// `tell` as work on a queue may call it: each call is told on the main
// executor, while the store lives. Nothing when `tell` is.
template <typename... Args>
std::function<void(Args...)> toldOnMain(const std::weak_ptr<AppStore*>& alive, Executor& main,
                                        std::function<void(Args...)> tell) {
  if (!tell) return {};
  return [alive, &main, tell](Args... args) {
    main.post([alive, tell, ... copies = std::decay_t<Args>(args)] {
      if (alive.lock()) tell(copies...);
    });
  };
}

}  // namespace quorvane
