#include "standalone/base/DateTimeText.h"

#include "Mox/Base/StringUtil.h"

namespace qarplatform {

namespace {

void WriteTwoDigits(char* text, int number) {
    text[0] = static_cast<char>('0' + number / 10);
    text[1] = static_cast<char>('0' + number % 10);
}

}  // namespace

// Written by hand: a sweep asks for two of every camera, and printf takes ten times as long.
std::string DateTimeText(int year, int month, int day, char separator, int hour, int minute, int second) {
    if (year < 0 || year > 9999) {
        return Mox::Base::StringUtil::str_fmt("%04d-%02d-%02d%c%02d:%02d:%02d", year, month, day, separator, hour,
                                              minute, second);
    }
    std::string text = "YYYY-MM-DD HH:MM:SS";
    WriteTwoDigits(&text[0], year / 100);
    WriteTwoDigits(&text[2], year % 100);
    WriteTwoDigits(&text[5], month);
    WriteTwoDigits(&text[8], day);
    text[10] = separator;
    WriteTwoDigits(&text[11], hour);
    WriteTwoDigits(&text[14], minute);
    WriteTwoDigits(&text[17], second);
    return text;
}

}  // namespace qarplatform
