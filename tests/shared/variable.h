#pragma once

#include <cstdlib>
#include <string>

/// An environment variable for the length of a test.
class Variable {
public:
  Variable(const char* name, const std::string& value) : name_(name)
  {
    setenv(name, value.c_str(), 1);
  }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;
  ~Variable() { unsetenv(name_); }

private:
  const char* name_;
};
