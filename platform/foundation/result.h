#pragma once

#include <cassert>
#include <string>
#include <utility>
#include <variant>

namespace kelvo {

// Why something could not be done. `message` is one clause in plain words, without the file's name
// and without a final full stop ("the file ends before its end-of-image marker").
struct Error {
  std::string message;
};

// A value or the reason there is none. Nothing in the system throws across a module boundary.
template <typename T>
class [[nodiscard]] Result {
 public:
  Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}
  Result(Error error) : state_(std::in_place_index<1>, std::move(error)) {}

  [[nodiscard]] bool ok() const { return state_.index() == 0; }
  explicit operator bool() const { return ok(); }

  [[nodiscard]] T& value() & { return *std::get_if<0>(&state_); }
  [[nodiscard]] const T& value() const& { return *std::get_if<0>(&state_); }
  [[nodiscard]] T&& value() && { return std::move(*std::get_if<0>(&state_)); }
  [[nodiscard]] const Error& error() const& { return *std::get_if<1>(&state_); }
  [[nodiscard]] Error error() && { return std::move(*std::get_if<1>(&state_)); }

  T* operator->() { return &value(); }
  const T* operator->() const { return &value(); }
  T& operator*() & { return value(); }
  const T& operator*() const& { return value(); }
  T&& operator*() && { return std::move(*this).value(); }

 private:
  std::variant<T, Error> state_;
};

template <>
class [[nodiscard]] Result<void> {
 public:
  Result() = default;
  Result(Error error) : error_(std::move(error)), ok_(false) {}

  [[nodiscard]] bool ok() const { return ok_; }
  explicit operator bool() const { return ok_; }
  [[nodiscard]] const Error& error() const& { return error_; }
  [[nodiscard]] Error error() && { return std::move(error_); }

 private:
  Error error_;
  bool ok_ = true;
};

}  // namespace kelvo
