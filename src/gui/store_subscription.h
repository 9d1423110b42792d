// An observation of the store that ends with its owner: a widget that goes
// away is never told of a change again.
#pragma once

#include <functional>

#include "app/app_store.h"

namespace quorvane::gui {

class StoreSubscription {
 public:
  StoreSubscription(AppStore& store, AppStore::ChangeObserver observer)
      : store_(store), token_(store.observeChanges(std::move(observer))) {}
  ~StoreSubscription() { store_.stopObserving(token_); }
  StoreSubscription(const StoreSubscription&) = delete;
  StoreSubscription& operator=(const StoreSubscription&) = delete;

 private:
  AppStore& store_;
  std::size_t token_;
};

}  // namespace quorvane::gui
