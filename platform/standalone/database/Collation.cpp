#include "standalone/database/Collation.h"

#include <langinfo.h>
#include <locale.h>
#include <sqlite3.h>
#include <string.h>

#include <algorithm>
#include <mutex>
#include <set>
#include <string>

#include "standalone/log/PlatformLog.h"

namespace qarplatform {

namespace {

int CompareBytes(int size_a, const void* a, int size_b, const void* b) {
    const int order = memcmp(a, b, static_cast<std::size_t>(std::min(size_a, size_b)));
    return order != 0 ? order : size_a - size_b;
}

// The bytes of UTF-8 texts sort as their code points do.
int CompareCodePoints(void*, int size_a, const void* a, int size_b, const void* b) {
    return CompareBytes(size_a, a, size_b, b);
}

int CompareInLocale(void* locale, int size_a, const void* a, int size_b, const void* b) {
    const std::string text_a(static_cast<const char*>(a), static_cast<std::size_t>(size_a));
    const std::string text_b(static_cast<const char*>(b), static_cast<std::size_t>(size_b));
    const int order = strcoll_l(text_a.c_str(), text_b.c_str(), static_cast<locale_t>(locale));
    return order != 0 ? order : CompareBytes(size_a, a, size_b, b);
}

void FreeLocale(void* locale) { freelocale(static_cast<locale_t>(locale)); }

locale_t OpenUtf8Locale(const std::string& name) {
    for (const std::string& candidate : {name, name + ".UTF-8"}) {
        const locale_t locale = newlocale(LC_COLLATE_MASK | LC_CTYPE_MASK, candidate.c_str(), nullptr);
        if (!locale) {
            continue;
        }
        if (strcmp(nl_langinfo_l(CODESET, locale), "UTF-8") == 0) {
            return locale;
        }
        freelocale(locale);
    }
    return nullptr;
}

void LogOnce(const char* name) {
    static std::mutex mutex;
    static std::set<std::string> logged;
    const std::lock_guard<std::mutex> lock(mutex);
    if (logged.insert(name).second) {
        LogSinkWrite(kLogWarning, kModulePlatform, "[database] no locale for collation %s, texts sort by code point",
                     name);
    }
}

void OnCollationNeeded(void*, sqlite3* connection, int, const char* name) {
    const locale_t locale = *name ? OpenUtf8Locale(name) : nullptr;
    if (locale) {
        if (sqlite3_create_collation_v2(connection, name, SQLITE_UTF8, locale, &CompareInLocale, &FreeLocale) !=
            SQLITE_OK) {
            freelocale(locale);
        }
        return;
    }
    LogOnce(name);
    sqlite3_create_collation_v2(connection, name, SQLITE_UTF8, nullptr, &CompareCodePoints, nullptr);
}

}  // namespace

void OfferCollations(sqlite3* connection) { sqlite3_collation_needed(connection, nullptr, &OnCollationNeeded); }

}  // namespace qarplatform
