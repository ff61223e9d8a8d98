#include <aws/core/utils/DateTime.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>

namespace Aws {
namespace Utils {

namespace {

using Clock = std::chrono::system_clock;

constexpr const char* kWeekdayNames[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char* kMonthNames[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// Broken-down time plus what the parser learned about the zone.
struct ParsedTime {
  std::tm fields{};
  int millis = 0;
  bool utc = true;
};

// A cursor over the text; every reader returns false and leaves the result undefined on a
// mismatch.
class Scanner {
 public:
  explicit Scanner(const char* text) : m_at(text) {}

  bool AtEnd() const { return *m_at == '\0'; }
  const char* Position() const { return m_at; }
  char Peek() const { return *m_at; }

  bool Expect(char c) {
    if (*m_at != c) return false;
    ++m_at;
    return true;
  }

  // Exactly `count` decimal digits.
  bool Digits(int count, int& value) {
    value = 0;
    for (int i = 0; i < count; ++i) {
      if (!std::isdigit(static_cast<unsigned char>(m_at[i]))) return false;
      value = value * 10 + (m_at[i] - '0');
    }
    m_at += count;
    return true;
  }

  // Up to maxCount digits, as many as present; gives how many were read.
  int DigitRun(int maxCount, int& value) {
    value = 0;
    int n = 0;
    while (n < maxCount && std::isdigit(static_cast<unsigned char>(m_at[n]))) {
      value = value * 10 + (m_at[n] - '0');
      ++n;
    }
    m_at += n;
    return n;
  }

  // A run of letters; only its first three letters are matched against `names`
  // (case-insensitively). Gives the index of the match.
  bool Name(const char* const* names, int nameCount, int& index) {
    const char* start = m_at;
    while (std::isalpha(static_cast<unsigned char>(*m_at))) ++m_at;
    if (m_at - start < 3) return false;
    for (int i = 0; i < nameCount; ++i) {
      if (strncasecmp(start, names[i], 3) == 0) {
        index = i;
        return true;
      }
    }
    return false;
  }

 private:
  const char* m_at;
};

bool ParseClock(Scanner& in, std::tm& fields) {
  return in.Digits(2, fields.tm_hour) && in.Expect(':') && in.Digits(2, fields.tm_min) && in.Expect(':') &&
         in.Digits(2, fields.tm_sec);
}

// "Www, DD Mon YYYY HH:MM:SS ZONE"
bool ParseRfc822(const char* text, ParsedTime& out) {
  Scanner in(text);
  int index = 0;
  if (!in.Name(kWeekdayNames, 7, index) || !in.Expect(',') || !in.Expect(' ')) return false;
  int day = 0;
  if (in.DigitRun(2, day) == 0 || !in.Expect(' ')) return false;
  out.fields.tm_mday = day;
  if (!in.Name(kMonthNames, 12, index) || !in.Expect(' ')) return false;
  out.fields.tm_mon = index;
  int year = 0;
  const int yearDigits = in.DigitRun(4, year);
  if (yearDigits == 2) {
    year += 2000;
  } else if (yearDigits != 4) {
    return false;
  }
  out.fields.tm_year = year - 1900;
  if (!in.Expect(' ') || !ParseClock(in, out.fields) || !in.Expect(' ')) return false;
  const char* zone = in.Position();
  const size_t zoneLength = std::strlen(zone);
  if (zoneLength > 5) return false;
  out.utc = zoneLength == 0 || (zoneLength >= 3 && (strncasecmp(zone, "UTC", 3) == 0 ||
                                                    strncasecmp(zone, "UCT", 3) == 0 ||
                                                    strncasecmp(zone, "GMT", 3) == 0 ||
                                                    std::strncmp(zone, "+000", 4) == 0 ||
                                                    std::strncmp(zone, "-000", 4) == 0));
  return true;
}

// "Z" or "+hh:mm"-style offsets of up to five digits and colons; only Z and +00:00 are UTC.
bool ParseIsoZone(Scanner& in, bool& utc) {
  if (in.Expect('Z')) {
    utc = true;
    return in.AtEnd();
  }
  const char* start = in.Position();
  if (!in.Expect('+') && !in.Expect('-')) return false;
  int length = 0;
  while (length < 5 && (std::isdigit(static_cast<unsigned char>(in.Peek())) || in.Peek() == ':')) {
    in.Expect(in.Peek());
    ++length;
  }
  if (!in.AtEnd()) return false;
  utc = std::strcmp(start, "+00:00") == 0;
  return true;
}

// "YYYY-MM-DDTHH:MM:SS[.fff......]zone"
bool ParseIso8601(const char* text, ParsedTime& out) {
  Scanner in(text);
  int year = 0, month = 0;
  if (!in.Digits(4, year) || !in.Expect('-') || !in.Digits(2, month) || !in.Expect('-') ||
      !in.Digits(2, out.fields.tm_mday) || !in.Expect('T') || !ParseClock(in, out.fields)) {
    return false;
  }
  out.fields.tm_year = year - 1900;
  out.fields.tm_mon = month - 1;
  if (in.Expect('.')) {
    const char* fraction = in.Position();
    int ignored = 0;
    const int digits = in.DigitRun(9, ignored);
    if (digits < 3) return false;
    out.millis = (fraction[0] - '0') * 100 + (fraction[1] - '0') * 10 + (fraction[2] - '0');
  }
  return ParseIsoZone(in, out.utc);
}

// "YYYYMMDDTHHMMSS[fff]zone"
bool ParseIso8601Basic(const char* text, ParsedTime& out) {
  Scanner in(text);
  int year = 0, month = 0;
  if (!in.Digits(4, year) || !in.Digits(2, month) || !in.Digits(2, out.fields.tm_mday) || !in.Expect('T') ||
      !in.Digits(2, out.fields.tm_hour) || !in.Digits(2, out.fields.tm_min) || !in.Digits(2, out.fields.tm_sec)) {
    return false;
  }
  out.fields.tm_year = year - 1900;
  out.fields.tm_mon = month - 1;
  if (std::isdigit(static_cast<unsigned char>(in.Peek())) && !in.Digits(3, out.millis)) return false;
  return ParseIsoZone(in, out.utc);
}

bool ParseWithFormat(const char* text, DateFormat format, ParsedTime& out) {
  switch (format) {
    case DateFormat::RFC822:
      return ParseRfc822(text, out);
    case DateFormat::ISO_8601:
      return ParseIso8601(text, out);
    case DateFormat::ISO_8601_BASIC:
      return ParseIso8601Basic(text, out);
    case DateFormat::AutoDetect:
      return ParseRfc822(text, (out = ParsedTime{})) || ParseIso8601(text, (out = ParsedTime{})) ||
             ParseIso8601Basic(text, (out = ParsedTime{}));
  }
  return false;
}

std::tm BrokenDown(Clock::time_point time, bool localTime) {
  const std::time_t seconds = Clock::to_time_t(time);
  std::tm fields{};
  if (localTime) {
    localtime_r(&seconds, &fields);
  } else {
    gmtime_r(&seconds, &fields);
  }
  return fields;
}

Aws::String FormatWith(Clock::time_point time, bool localTime, const char* format) {
  const std::tm fields = BrokenDown(time, localTime);
  char buffer[128];
  const size_t length = std::strftime(buffer, sizeof buffer, format, &fields);
  return Aws::String(buffer, length);
}

// Locale-independent output for the fixed formats.
Aws::String FormatFixed(Clock::time_point time, bool localTime, DateFormat format) {
  const std::tm t = BrokenDown(time, localTime);
  char buffer[64];
  int length = 0;
  switch (format) {
    case DateFormat::RFC822:
      length = std::snprintf(buffer, sizeof buffer, "%s, %02d %s %04d %02d:%02d:%02d %s", kWeekdayNames[t.tm_wday],
                             t.tm_mday, kMonthNames[t.tm_mon], t.tm_year + 1900, t.tm_hour, t.tm_min, t.tm_sec,
                             localTime ? "" : "GMT");
      break;
    case DateFormat::ISO_8601_BASIC:
      length = std::snprintf(buffer, sizeof buffer, "%04d%02d%02dT%02d%02d%02dZ", t.tm_year + 1900, t.tm_mon + 1,
                             t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec);
      break;
    case DateFormat::ISO_8601:
    case DateFormat::AutoDetect:
      length = std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02dT%02d:%02d:%02dZ", t.tm_year + 1900, t.tm_mon + 1,
                             t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec);
      break;
  }
  return Aws::String(buffer, length > 0 ? static_cast<size_t>(length) : 0);
}

}  // namespace

DateTime::DateTime() : m_time(), m_valid(true) {}

DateTime::DateTime(const std::chrono::system_clock::time_point& timepointToAssign)
    : m_time(timepointToAssign), m_valid(true) {}

// The clock counts nanoseconds (about 292 years either side of 1970): a service timestamp beyond
// that is held at the limit instead of overflowing the conversion.
static int64_t MillisTheClockHolds(int64_t millis) {
  constexpr int64_t limit =
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::duration::max()).count();
  return millis > limit ? limit : (millis < -limit ? -limit : millis);
}

DateTime::DateTime(int64_t millisSinceEpoch)
    : m_time(std::chrono::duration_cast<Clock::duration>(
          std::chrono::milliseconds(MillisTheClockHolds(millisSinceEpoch)))),
      m_valid(true) {}

DateTime::DateTime(double epochSeconds) : DateTime(static_cast<int64_t>(std::llround(epochSeconds * 1000.0))) {}

DateTime::DateTime(const Aws::String& timestamp, DateFormat format) : m_time(), m_valid(false) {
  ParseAndSet(timestamp.c_str(), format);
}

DateTime::DateTime(const char* timestamp, DateFormat format) : m_time(), m_valid(false) {
  ParseAndSet(timestamp ? timestamp : "", format);
}

void DateTime::ParseAndSet(const char* timestamp, DateFormat format) {
  ParsedTime parsed;
  m_time = Clock::time_point();
  m_valid = ParseWithFormat(timestamp, format, parsed);
  if (!m_valid) return;
  std::time_t seconds;
  if (parsed.utc) {
    seconds = timegm(&parsed.fields);
  } else {
    // A foreign offset is not applied: the fields are read as local time.
    parsed.fields.tm_isdst = -1;
    seconds = std::mktime(&parsed.fields);
  }
  // A year past the clock's range (a hostile Date header's 9999) is held at its limit like a
  // number is, instead of overflowing the conversion.
  constexpr int64_t kSecondsHeld = std::numeric_limits<int64_t>::max() / 1000 - 1;
  const int64_t held = std::max<int64_t>(-kSecondsHeld, std::min<int64_t>(seconds, kSecondsHeld));
  m_time = DateTime(held * 1000 + parsed.millis).m_time;
}

bool DateTime::operator==(const DateTime& other) const { return m_time == other.m_time; }
bool DateTime::operator<(const DateTime& other) const { return m_time < other.m_time; }
bool DateTime::operator>(const DateTime& other) const { return m_time > other.m_time; }
bool DateTime::operator!=(const DateTime& other) const { return m_time != other.m_time; }
bool DateTime::operator<=(const DateTime& other) const { return m_time <= other.m_time; }
bool DateTime::operator>=(const DateTime& other) const { return m_time >= other.m_time; }

DateTime DateTime::operator+(const std::chrono::milliseconds& a) const { return DateTime(m_time + a); }
DateTime DateTime::operator-(const std::chrono::milliseconds& a) const { return DateTime(m_time - a); }
std::chrono::milliseconds DateTime::operator-(const DateTime& other) const { return Diff(*this, other); }

DateTime& DateTime::operator=(double secondsSinceEpoch) { return *this = DateTime(secondsSinceEpoch); }
DateTime& DateTime::operator=(int64_t millisSinceEpoch) { return *this = DateTime(millisSinceEpoch); }
DateTime& DateTime::operator=(const std::chrono::system_clock::time_point& timepointToAssign) {
  return *this = DateTime(timepointToAssign);
}
DateTime& DateTime::operator=(const Aws::String& timestamp) {
  return *this = DateTime(timestamp, DateFormat::AutoDetect);
}

Aws::String DateTime::ToLocalTimeString(DateFormat format) const { return FormatFixed(m_time, true, format); }
Aws::String DateTime::ToLocalTimeString(const char* formatStr) const { return FormatWith(m_time, true, formatStr); }
Aws::String DateTime::ToGmtString(DateFormat format) const { return FormatFixed(m_time, false, format); }
Aws::String DateTime::ToGmtString(const char* formatStr) const { return FormatWith(m_time, false, formatStr); }

Aws::String DateTime::ToGmtStringWithMs() const {
  Aws::String text = FormatWith(m_time, false, "%Y-%m-%dT%H:%M:%S");
  char fraction[8];
  const long long millis = ((Millis() % 1000) + 1000) % 1000;
  std::snprintf(fraction, sizeof fraction, ".%03lldZ", millis);
  return text + fraction;
}

double DateTime::SecondsWithMSPrecision() const { return static_cast<double>(Millis()) / 1000.0; }

int64_t DateTime::Seconds() const {
  return std::chrono::duration_cast<std::chrono::seconds>(m_time.time_since_epoch()).count();
}

int64_t DateTime::Millis() const {
  return std::chrono::duration_cast<std::chrono::milliseconds>(m_time.time_since_epoch()).count();
}

int DateTime::GetYear(bool localTime) const { return BrokenDown(m_time, localTime).tm_year + 1900; }
Month DateTime::GetMonth(bool localTime) const { return static_cast<Month>(BrokenDown(m_time, localTime).tm_mon); }
int DateTime::GetDay(bool localTime) const { return BrokenDown(m_time, localTime).tm_mday; }
DayOfWeek DateTime::GetDayOfWeek(bool localTime) const {
  return static_cast<DayOfWeek>(BrokenDown(m_time, localTime).tm_wday);
}
int DateTime::GetHour(bool localTime) const { return BrokenDown(m_time, localTime).tm_hour; }
int DateTime::GetMinute(bool localTime) const { return BrokenDown(m_time, localTime).tm_min; }
int DateTime::GetSecond(bool localTime) const { return BrokenDown(m_time, localTime).tm_sec; }
bool DateTime::IsDST(bool localTime) const { return BrokenDown(m_time, localTime).tm_isdst > 0; }

DateTime DateTime::Now() { return DateTime(Clock::now()); }
int64_t DateTime::CurrentTimeMillis() { return Now().Millis(); }
Aws::String DateTime::CalculateLocalTimestampAsString(const char* formatStr) {
  return Now().ToLocalTimeString(formatStr);
}
Aws::String DateTime::CalculateGmtTimestampAsString(const char* formatStr) { return Now().ToGmtString(formatStr); }
Aws::String DateTime::CalculateGmtTimeWithMsPrecision() { return Now().ToGmtStringWithMs(); }
int DateTime::CalculateCurrentHour() { return Now().GetHour(true); }
double DateTime::ComputeCurrentTimestampInAmazonFormat() { return Now().SecondsWithMSPrecision(); }

std::chrono::milliseconds DateTime::Diff(const DateTime& a, const DateTime& b) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(a.m_time - b.m_time);
}

}  // namespace Utils
}  // namespace Aws
