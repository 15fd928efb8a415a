#pragma once

#include <iterator>

namespace qarplatform {

/// Marks a file as a site store, kept in its application_id: "QARS".
constexpr int kSiteApplicationId = 0x51415253;

/// What brings the tables from each version, kept in the file's user_version, to the next one; the first makes them in
/// an empty file. What has been released stays as it is, as there are files that were made by it.
constexpr const char* kSiteSchemaSteps[] = {R"sql(
CREATE TABLE site (
    one INTEGER PRIMARY KEY CHECK (one = 1),
    origin_ms INTEGER NOT NULL,
    start_ms INTEGER NOT NULL,
    database_dir TEXT NOT NULL) STRICT;
CREATE TABLE zone (
    position INTEGER PRIMARY KEY,
    name TEXT NOT NULL UNIQUE,
    display_name TEXT NOT NULL,
    bias INTEGER NOT NULL,
    has_daylight INTEGER NOT NULL,
    daylight_enable INTEGER NOT NULL,
    daylight_date TEXT NOT NULL,
    standard_date TEXT NOT NULL,
    daylight_bias INTEGER NOT NULL) STRICT;
CREATE TABLE area (
    id INTEGER PRIMARY KEY,
    name TEXT NOT NULL,
    parent INTEGER NOT NULL) STRICT;
CREATE TABLE device (
    id INTEGER PRIMARY KEY,
    type INTEGER NOT NULL,
    guid TEXT NOT NULL UNIQUE,
    name TEXT NOT NULL,
    probe TEXT NOT NULL,
    archive TEXT NOT NULL,
    zone TEXT NOT NULL,
    guard INTEGER NOT NULL) STRICT;
CREATE TABLE channel (
    id INTEGER PRIMARY KEY,
    type INTEGER NOT NULL,
    guid TEXT NOT NULL UNIQUE,
    device INTEGER NOT NULL REFERENCES device (id),
    no INTEGER NOT NULL) STRICT;
CREATE TABLE element (
    id INTEGER PRIMARY KEY,
    guid TEXT NOT NULL UNIQUE,
    name TEXT NOT NULL,
    channel INTEGER NOT NULL REFERENCES channel (id),
    area INTEGER NOT NULL,
    create_time INTEGER NOT NULL) STRICT;
CREATE TABLE plugin (
    position INTEGER PRIMARY KEY,
    id TEXT NOT NULL UNIQUE,
    path TEXT NOT NULL,
    config_json TEXT NOT NULL) STRICT;
)sql",
                                            R"sql(
ALTER TABLE site ADD COLUMN access_type INTEGER NOT NULL DEFAULT 1 CHECK (access_type IN (1, 2));
CREATE TABLE role (
    id INTEGER PRIMARY KEY,
    name TEXT NOT NULL UNIQUE) STRICT;
CREATE TABLE role_permission (
    role INTEGER NOT NULL REFERENCES role (id) ON DELETE CASCADE,
    permission INTEGER NOT NULL,
    PRIMARY KEY (role, permission)) STRICT, WITHOUT ROWID;
CREATE TABLE user (
    id INTEGER PRIMARY KEY,
    name TEXT NOT NULL UNIQUE,
    person INTEGER,
    password TEXT) STRICT;
CREATE TABLE user_role (
    user INTEGER NOT NULL REFERENCES user (id) ON DELETE CASCADE,
    role INTEGER NOT NULL REFERENCES role (id) ON DELETE CASCADE,
    PRIMARY KEY (user, role)) STRICT, WITHOUT ROWID;
CREATE TABLE session (
    number INTEGER PRIMARY KEY AUTOINCREMENT,
    id TEXT NOT NULL UNIQUE,
    user INTEGER NOT NULL REFERENCES user (id) ON DELETE CASCADE,
    client_type INTEGER NOT NULL CHECK (client_type IN (1, 2, 3)),
    used_s INTEGER NOT NULL) STRICT;
CREATE INDEX session_of_user ON session (user);
)sql"};

/// Version of the tables that this program works on.
constexpr int kSiteSchemaVersion = static_cast<int>(std::size(kSiteSchemaSteps));

}  // namespace qarplatform
