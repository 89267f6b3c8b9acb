#include "foundation/attributes.h"
#include "foundation/class_registry.h"
#include "foundation/memory_stream.h"
#include "persist/object_file_reader.h"
#include "persist/object_file_writer.h"
#include "ui/value_helpers.h"
#include "ui/values/color_value.h"
#include "ui/values/float_value.h"
#include "ui/values/rational_value.h"
#include "ui/values/string_list_value.h"
#include "ui/values/string_value.h"
#include "ui/values/time_value.h"

#include <cfloat>
#include <cmath>
#include <limits>

using namespace orbi;

namespace {

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

/// Types texts over the same present value: each is followed by what is shown then.
template <class Value, class Reset>
void expectTyped(Value& value, Reset reset, std::vector<const char*> texts)
{
  for (size_t i = 0; i + 1 < texts.size(); i += 2) {
    reset(value);
    value.setText(texts[i]);
    EXPECT_EQ(textOf(value), texts[i + 1]) << '"' << texts[i] << '"';
  }
}

/// What a new object of the same class is after the value went through an object file.
template <class Value>
Ref<Value> throughFile(Value& value)
{
  TextBufferPool pool;
  auto file = make<FMemoryStream>();
  EXPECT_TRUE(ObjectFileWriter(*file, pool).writeRootObject("Root", value));
  file->rewind();
  FAttributes tree;
  EXPECT_TRUE(make<ObjectFileReader>(*file)->readRootAttributes("Root", tree));
  Ref<Value> copy = createAs<Value>(Value::className);
  EXPECT_TRUE(copy && copy->loadAttributes(tree));
  return copy;
}

template <class Value>
Ref<Value> throughStream(Value& value)
{
  FMemoryStream stream;
  EXPECT_TRUE(value.write(stream));
  stream.rewind();
  Ref<Value> copy = createAs<Value>(Value::className);
  EXPECT_TRUE(copy && copy->read(stream));
  return copy;
}

/// Shows decibels of a factor.
class Decibels final : public CmClass<Decibels, UFloatTransform> {
public:
  static constexpr const char* className = "Decibels";
  double toDisplayed(double stored) const override { return 20 * std::log10(stored); }
  double toStored(double displayed) const override { return std::pow(10, displayed / 20); }
};

} // namespace

TEST(UValueText, switch_takes_words_and_numbers)
{
  UValue value;
  expectTyped(value, [](UValue& v) { v.setValue(1); },
              {"off", "Off", "0", "Off", "-3", "Off", "2", "On", "what", "On"});
  value.setNormalized(0.99f);
  EXPECT_EQ(value.getInt(), 0);
}

TEST(UIntValueText, typed_texts_set_and_calculate_and_nonsense_changes_nothing)
{
  UIntValue value{40, -1000, 1000};
  expectTyped(value, [](UIntValue& v) { v.setValue(40); },
              {"7",      "7",    " 7 ms", "7",  "2*",   "80",   "2+",     "42",
               "2-",     "38",   "-2",    "-2", "10/",  "4",    "0/",     "40",
               "1,5*",   "60",   "2.9",   "2",  "1e99", "1000", "-1e999", "-1000",
               "1e999*", "1000", "",      "40", "*",    "40",   "nan",    "40"});
}

TEST(UIntValueRange, limits_push_each_other_and_the_value)
{
  UIntValue value{5, 0, 10};
  value.setMin(20);
  EXPECT_EQ(value.getMax(), 20);
  EXPECT_EQ(value.getInt(), 20);
  EXPECT_EQ(value.getNormalized(), 0.0f);
  value.setMax(10); // leaves the minimum alone
  EXPECT_EQ(value.getMin(), 20);
  EXPECT_EQ(value.getNormalized(), 0.0f);
}

TEST(UIntValueRange, all_of_32_bits_can_be_normalized)
{
  UIntValue value{0, INT32_MIN, INT32_MAX};
  UValue& base = value;
  for (float fraction : {0.0f, 0.25f, 1.0f, 2.0f, -1.0f, notANumber, INFINITY}) {
    const int32_t expected = std::isnan(fraction) ? value.getInt()
                             : fraction <= 0      ? INT32_MIN
                             : fraction >= 1      ? INT32_MAX
                                                  : INT32_MIN / 2;
    base.setNormalizedEx(fraction, false);
    EXPECT_EQ(value.getInt(), expected) << fraction;
  }
  value.setValue(INT32_MAX);
  EXPECT_EQ(value.getNormalized(), 1.0f);
  value.stepUp();
  EXPECT_EQ(value.getInt(), INT32_MAX);
  value.setFloat(-FLT_MAX);
  EXPECT_EQ(value.getInt(), INT32_MIN);
  value.setFloat(notANumber);
  EXPECT_EQ(value.getInt(), 0);
  UIntValue small{0, 0, 10};
  small.setNormalized(0.26f);
  EXPECT_EQ(small.getInt(), 3);
}

TEST(UFloatValueText, typed_texts_set_and_calculate_with_a_fraction)
{
  UFloatValue value{0.5f, -4, 4};
  value.setPrecision(2);
  expectTyped(value, [](UFloatValue& v) { v.setFloatValue(0.5f); },
              {"1,25", "1.25", "10/", "0.05", "2*", "1.00", "0/", "0.50", "x", "0.50", "-0.001",
               "0.00", "1e999", "4.00", "nan", "0.50"});
}

TEST(UFloatValueRange, nothing_undefined_gets_in_and_trials_leave_the_number_as_it_was)
{
  UFloatValue value{0.3f, 0.25f, 0.75f};
  value.setFloat(notANumber);
  value.setNormalized(notANumber);
  value.setMaxFloat(INFINITY);
  value.setMinFloat(notANumber);
  CmString text;
  value.getStringForNormalized(1, text);
  EXPECT_EQ(text, "0.7500");
  value.getStringForValue(3, text);
  EXPECT_EQ(text, "0.7500");
  EXPECT_EQ(value.getFloat(), 0.3f);
  value.stepUp();
  EXPECT_EQ(value.getFloat(), 0.75f);
  UFloatValue wide{FLT_MAX, -FLT_MAX, FLT_MAX};
  EXPECT_EQ(wide.getNormalized(), 1.0f);
  EXPECT_EQ(wide.getInt(), INT32_MAX);
  wide.setNormalized(0.5f);
  EXPECT_EQ(wide.getFloat(), 0.0f);
}

TEST(UFloatValueRange, default_keeps_its_fraction)
{
  UFloatDefValue value{0.3f};
  value.setFloat(0.7f);
  EXPECT_TRUE(value.resetToDefault());
  EXPECT_EQ(value.getFloat(), 0.3f);
}

TEST(UFloatTransformValueText, shows_and_reads_what_the_transform_says)
{
  UFloatTransformValue value{1, 0, 10};
  value.setPrecision(1);
  value.setTransform(make<Decibels>());
  EXPECT_EQ(textOf(value), "0.0");
  value.setText("20");
  EXPECT_FLOAT_EQ(value.getFloat(), 10);
  value.setText("6-");
  EXPECT_EQ(textOf(value), "14.0");
}

TEST(URationalValueText, signs_are_those_of_the_quotient_and_nonsense_changes_nothing)
{
  URationalValue value;
  expectTyped(value, [](URationalValue& v) { v.setRational(3, 4); },
              {"-3/4", "-3/4", "-3/-4", "3/4", "6/8",     "3/4",          "2,9/3.9", "2/3",
               "5",    "5/1",  "1/0",   "3/4", "1/0.5",   "3/4",          "1/",      "3/4",
               "/2",   "3/4",  "0/-4",  "0/1", "-1e99/1", "-2147483648/1"});
  value.setRational(INT32_MIN, -1);
  EXPECT_EQ(value.getInt(), INT32_MAX);
  EXPECT_EQ(textOf(value), "2147483648/1");
  CmString text;
  value.setRational(3, 4);
  value.getStringForValue(2, text);
  EXPECT_EQ(text, "2/1");
  URationalValue copy;
  copy.copyValue(value);
  EXPECT_EQ(textOf(copy), "3/4");
  copy.copyValue(UIntValue{9});
  EXPECT_EQ(textOf(copy), "9/1");
}

TEST(TimeValueText, times_days_and_colours_are_read_as_they_are_shown)
{
  USecondsValue seconds;
  expectTyped(seconds, [](USecondsValue& v) { v.setValue(60); },
              {"7:05:09", "07:05:09", "23:59", "23:59:00", "24:00", "00:01:00"});
  seconds.setFormat(TimeFormat::minutes);
  EXPECT_EQ(textOf(seconds), "00:01");
  UDateValue date;
  date.setDateFormat(DateFormat::dayFirst);
  expectTyped(date, [](UDateValue& v) { v.setValue(0); },
              {"29.02.2024", "29.02.2024", "30.02.2024", "01.01.1970", "01.01.9999", "19.01.2038",
               "01.01.1800", "13.12.1901"});
  UColorValue color;
  expectTyped(color, [](UColorValue& v) { v.setValue(1); },
              {"#ff8000", "#FF8000", "#80FF8000", "#80FF8000", "255", "#0000FF", "-1", "#000001",
               "#FFFFFFFF", "#000001", "#123456789", "#000001", "#", "#000001", "red", "#000001",
               "", "#000001"});
}

TEST(UStringListValueItems, number_selects_a_text_and_a_text_the_number)
{
  UStringListValue value{10};
  EXPECT_EQ(textOf(value), "");
  for (const char* text : {"Sine", "Saw", "Noise"})
    value.addString(text);
  EXPECT_EQ(value.getMax(), 12);
  Listener target;
  value.setTarget(&target, 0);
  value.setText("noise");
  value.setText("NOISE");
  value.setText("none");
  EXPECT_EQ(target.taken(), Codes{1});
  EXPECT_EQ(value.getInt(), 12);
  EXPECT_TRUE(value.setStringAt(2, "NOISE"));
  EXPECT_EQ(textOf(value), "Noise");
  EXPECT_TRUE(value.setStringAt(2, "Hiss"));
  EXPECT_FALSE(value.setStringAt(3, "Hum"));
  EXPECT_FALSE(value.setStringAt(-1, "Hum"));
  EXPECT_EQ(textOf(value), "Hiss");
  value.setValue(10);
  value.removeLast();
  EXPECT_EQ(textOf(value), "Saw");
  EXPECT_EQ(value.getMax(), 11);
  value.removeAll();
  EXPECT_EQ(value.getInt(), -1);
  EXPECT_EQ(textOf(value), "");
  value.setText("Saw");
  value.removeLast();
  EXPECT_EQ(value.getInt(), -1);
  value.addString("Pulse");
  EXPECT_EQ(textOf(value), "Pulse");
}

TEST(ValuePersistence, what_is_stored_comes_back)
{
  UIntValue whole{150, 100, 200};
  EXPECT_EQ(throughFile(whole)->getInt(), 150);
  EXPECT_EQ(throughFile(whole)->getMin(), 100);
  EXPECT_EQ(throughStream(whole)->getInt(), 150);
  UFloatValue fraction{0.3f, -0.5f, 2};
  EXPECT_EQ(throughFile(fraction)->getFloat(), 0.3f);
  EXPECT_EQ(throughFile(fraction)->getMinFloat(), -0.5f);
  EXPECT_EQ(throughStream(fraction)->getFloat(), 0.3f);
  UStringValue text{"Lead & \"Bass\""};
  EXPECT_EQ(textOf(*throughFile(text)), "Lead & \"Bass\"");
  EXPECT_EQ(textOf(*throughStream(text)), "Lead & \"Bass\"");
  URationalValue rational{-3, 4};
  EXPECT_EQ(textOf(*throughFile(rational)), "-3/4");
  EXPECT_EQ(textOf(*throughStream(rational)), "-3/4");
  URecentStringListValue recent;
  for (const char* name : {"a.fxp", "b.fxp", "c.fxp"})
    recent.addString(name); // the first stays the chosen one
  recent.setValue(1);
  recent.setMaxRecent(2);
  auto copy = throughFile(recent);
  EXPECT_EQ(textOf(*copy), "b.fxp");
  EXPECT_EQ(copy->stringCount(), 2);
  EXPECT_EQ(copy->maxRecent(), 2);
  copy->setMaxRecent(1);
  EXPECT_EQ(textOf(*copy), "a.fxp");
  copy->setMaxRecent(0);
  EXPECT_EQ(copy->getInt(), -1);
}

TEST(ValuePersistence, value_read_is_held_to_the_range_read_with_it)
{
  FAttributes attributes;
  attributes.setInt("Value", INT64_MAX);
  attributes.setInt("Min", INT64_MIN);
  attributes.setInt("Max", 30);
  attributes.setString("Strings", "no container");
  UStringListValue value{3};
  value.addString("kept");
  EXPECT_TRUE(value.loadAttributes(attributes));
  EXPECT_EQ(value.getMin(), INT32_MIN);
  EXPECT_EQ(value.getInt(), 30);
  EXPECT_EQ(textOf(value), "");
  EXPECT_STREQ(value.stringAt(0), "kept");
  FMemoryStream empty;
  EXPECT_FALSE(value.read(empty));
  EXPECT_EQ(value.getInt(), 30);
}
