extern "C" [[gnu::visibility("default")]] int addOne(int number)
{
  return number + 1;
}
