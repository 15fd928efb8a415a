#pragma once

namespace qarplatform {

/// Version of the site store's tables, kept in the file's user_version.
constexpr int kSiteSchemaVersion = 1;

/// Marks a file as a site store, kept in its application_id: "QARS".
constexpr int kSiteApplicationId = 0x51415253;

/// Makes the tables in an empty file.
constexpr const char* kSiteSchema = R"sql(
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
)sql";

}  // namespace qarplatform
