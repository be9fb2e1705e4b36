// The tables of the service's database, and what is found in a file. Called when one is opened.
#pragma once

class Database;

enum class SchemaState {
    empty,   ///< nothing in it yet
    current, ///< this version's tables, and they hold together
    newer,   ///< of a later version of this program
    foreign, ///< another program's
    damaged, ///< unreadable
};

/// Reads only.
SchemaState inspect_schema(Database& database);

/// Makes what is missing. False when that cannot be written.
bool create_schema(Database& database);
