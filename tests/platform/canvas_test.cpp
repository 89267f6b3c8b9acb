#include "platform/canvas.h"

#include "platform/temporary_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>

using namespace orbi::platform;

namespace {

constexpr Color red{255, 0, 0};
constexpr uint32_t redPixel = 0xffff0000;

class CanvasTest : public testing::Test {
protected:
  void SetUp() override
  {
    if (!graphics)
      GTEST_SKIP() << "the system's drawing libraries are missing";
    image = graphics->makeImage({40, 20});
    canvas = graphics->makeCanvas(*image);
  }

  uint32_t pixel(int x, int y) { return image->pixels()[static_cast<size_t>(y * 40 + x)]; }
  /// The smallest rectangle that holds whatever was drawn.
  Rect drawn()
  {
    Rect result;
    for (int y = 0; y < 20; ++y)
      for (int x = 0; x < 40; ++x)
        if (pixel(x, y) != 0)
          result = result.unitedWith({x, y, x + 1, y + 1});
    return result;
  }
  void wipe() { std::ranges::fill(image->pixels(), 0u); }

  std::unique_ptr<Graphics> graphics = openGraphics();
  std::unique_ptr<Image> image;
  std::unique_ptr<Canvas> canvas;
};

} // namespace

TEST_F(CanvasTest, shapes_stay_inside_what_clip_place_and_scale_leave_of_them)
{
  canvas->fill({2, 3, 10, 9}, red);
  EXPECT_EQ(drawn(), (Rect{2, 3, 10, 9}));
  EXPECT_EQ(pixel(2, 3), redPixel);

  wipe();
  canvas->save();
  canvas->translate(4, 2);
  canvas->scale(2);
  canvas->clip({1, 1, 6, 6});
  canvas->save();
  canvas->clip({-9, -9, 99, 3}); // only ever narrows
  EXPECT_EQ(canvas->clipBounds(), (Rect{1, 1, 6, 3}));
  canvas->frame({0, 0, 9, 9}, 0, 1, red);
  canvas->fill({3, 2, 30, 30}, red);
  canvas->restore();
  canvas->restore();
  EXPECT_EQ(drawn(), (Rect{10, 6, 16, 8}));

  wipe();
  for (int i = 0; i < 3; ++i)
    canvas->restore(); // without a save
  canvas->scale(0);    // can't be
  canvas->clip({0, 0, 20, 20});
  canvas->setOpacity(0.5);
  canvas->frame({1, 1, 9, 9}, 0, 2, red);
  EXPECT_EQ(drawn(), (Rect{1, 1, 9, 9}));
  EXPECT_EQ(pixel(4, 4), 0u);
  EXPECT_EQ(pixel(1, 1) >> 24, 128u);
}

TEST_F(CanvasTest, text_keeps_to_its_rectangle_and_its_side)
{
  const Rect place{4, 2, 36, 18};
  TextStyle style;
  style.color = red;
  const auto draw = [&](std::string_view text) {
    wipe();
    canvas->text(text, place, style);
    const Rect result = drawn();
    EXPECT_FALSE(result.isEmpty());
    EXPECT_EQ(result.intersectedWith(place), result);
    return result;
  };
  const Rect left = draw("i");
  style.justify = Justify::right;
  const Rect right = draw("i");
  EXPECT_LT(left.right, right.left);
  EXPECT_LE(36 - right.right, 3);
  for (const Overflow overflow : {Overflow::clip, Overflow::ellipsis})
    for (const bool wraps : {false, true}) {
      style.overflow = overflow;
      style.wraps = wraps;
      draw("Many more words than can stand here, \xff\xc3 and bytes that aren't text");
    }
  EXPECT_GT(graphics->measure("two words", {}, 20).height,
            graphics->measure("two words", {}).height);
}

TEST_F(CanvasTest, places_in_a_text_lead_there_and_back_whatever_its_bytes)
{
  const Font font;
  for (const std::string& text : {std::string("A\xc3\xa9\xe2\x82\xacz"), std::string("A\xff\xfez"),
                                  std::string("a\0b\xe2\x82", 5), std::string()}) {
    double last = -1.0;
    for (size_t byte = 0; byte <= text.size(); ++byte) {
      const double offset = graphics->offsetOf(text, font, byte);
      if (offset == last)
        continue; // within a character
      EXPECT_GT(offset, last);
      EXPECT_EQ(graphics->byteAt(text, font, offset), byte) << text;
      last = offset;
    }
    EXPECT_EQ(graphics->byteAt(text, font, 1e9), text.size());
    EXPECT_EQ(graphics->byteAt(text, font, -5.0), 0u);
    EXPECT_NEAR(graphics->measure(text, font).width, last, 1.0);
  }
}

TEST_F(CanvasTest, pictures_come_back_from_their_file_and_from_nothing_less)
{
  const TemporaryFolder folder;
  const auto file = folder.path() / "picture.png";
  canvas->fillVertical({0, 0, 40, 20}, 5, red, {0, 0, 255, 40});
  ASSERT_TRUE(image->savePng(file));
  const auto loaded = graphics->loadPng(file);
  ASSERT_TRUE(loaded);
  EXPECT_EQ(loaded->size(), (Size{40, 20}));
  EXPECT_EQ(loaded->pixels()[0], pixel(0, 0));
  EXPECT_EQ(loaded->pixels()[20], pixel(20, 0));

  std::ifstream stream(file, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
  for (size_t length = 0; length + 12 < bytes.size(); ++length) { // the last chunk is empty
    std::ofstream(file, std::ios::binary) << bytes.substr(0, length);
    EXPECT_FALSE(graphics->loadPng(file)) << length;
  }
  std::string huge = bytes;
  huge.replace(16, 8, "\x00\x00\x7f\xff\x00\x00\x7f\xff", 8);
  std::ofstream(file, std::ios::binary) << huge;
  for (const auto& path : {file, folder.path(), folder.path() / "none"})
    EXPECT_FALSE(graphics->loadPng(path));
  for (const Size size : {Size{0, 5}, Size{5, -1}, Size{32768, 1}, Size{INT32_MAX, INT32_MAX}})
    EXPECT_FALSE(graphics->makeImage(size));
}

TEST_F(CanvasTest, a_part_of_a_picture_is_drawn_without_its_neighbours)
{
  const auto source = graphics->makeImage({4, 2});
  std::ranges::fill(source->pixels(), redPixel);
  for (const size_t blue : {2, 3, 6, 7})
    source->pixels()[blue] = 0xff0000ff;
  canvas->image(*source, {0, 0, 2, 2}, {10, 4, 30, 14});
  EXPECT_EQ(drawn(), (Rect{10, 4, 30, 14}));
  EXPECT_EQ(pixel(29, 13), redPixel);
}
