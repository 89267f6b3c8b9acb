#pragma once

#include <thread>
#include <vector>

/// Runs one body on several threads, until they are joined or it goes.
class Crowd {
public:
  template <class Body>
  Crowd(int count, const Body& body)
  {
    for (int i = 0; i < count; ++i)
      threads_.emplace_back(body);
  }
  void join() { threads_.clear(); }

private:
  std::vector<std::jthread> threads_;
};
