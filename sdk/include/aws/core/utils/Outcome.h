#pragma once

#include <type_traits>
#include <utility>

namespace Aws {
namespace Utils {

// The result of a call: a result or an error, plus the number of retries made inside the
// call. Both members always exist; reading the side that does not apply returns its
// default-constructed value.
template <typename R, typename E>
class Outcome {
 public:
  Outcome() : result(), error(), success(false) {}
  Outcome(const R& r) : result(r), error(), success(true) {}
  Outcome(const E& e) : result(), error(e), success(false) {}
  Outcome(R&& r) : result(std::move(r)), error(), success(true) {}
  Outcome(E&& e) : result(), error(std::move(e)), success(false) {}

  // Any error type convertible to E (e.g. a core error into a service error).
  template <typename ET, std::enable_if_t<std::is_convertible<ET, E>::value &&
                                              !std::is_same<std::decay_t<ET>, E>::value &&
                                              !std::is_same<std::decay_t<ET>, R>::value &&
                                              !std::is_same<std::decay_t<ET>, Outcome>::value,
                                          int> = 0>
  Outcome(ET&& e) : result(), error(std::forward<ET>(e)), success(false) {}

  Outcome(const Outcome& o) = default;
  Outcome(Outcome&& o) = default;
  Outcome& operator=(const Outcome& o) = default;
  Outcome& operator=(Outcome&& o) = default;

  inline const R& GetResult() const { return result; }
  inline R& GetResult() { return result; }
  // Lets the caller move the result out, e.g. `R r = outcome.GetResultWithOwnership();`.
  inline R&& GetResultWithOwnership() { return std::move(result); }
  inline const E& GetError() const { return error; }
  inline bool IsSuccess() const { return success; }

  inline unsigned int GetRetryCount() const { return retryCount; }
  inline void SetRetryCount(const unsigned int count) { retryCount = count; }

 private:
  R result;
  E error;
  bool success = false;
  unsigned int retryCount = 0;
};

}  // namespace Utils
}  // namespace Aws
