#pragma once
// An unexpected failure: a failing call of the project service, the database or
// another component. It carries the number, the source and the description of
// the failure, which the central error handler logs and which Fetch hands on to
// its caller. Expected failures (a bad query, a reference that doesn't resolve)
// are results, never this exception.

#include <stdexcept>
#include <string>

namespace vlq {

class Failure : public std::runtime_error {
 public:
  Failure(long number, std::string source, std::string description)
      : std::runtime_error(description), number_(number), source_(std::move(source)),
        description_(std::move(description)) {}

  long Number() const { return number_; }
  const std::string& Source() const { return source_; }
  const std::string& Description() const { return description_; }

 private:
  long number_;
  std::string source_;
  std::string description_;
};

// The number given to a failure that didn't come with one of its own (a C++
// exception of the standard library, say).
inline constexpr long kUnexpectedFailureNumber = -2147418113;  // 0x8000FFFF

}  // namespace vlq
