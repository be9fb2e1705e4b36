// The folder with all that the service keeps, held by one service at a time. Called by the
// service's entry.
#pragma once

#include "service/store/database.h"

#include <memory>
#include <string>

/// Main thread.
class DataFolder {
  public:
    DataFolder() = default;
    DataFolder(const DataFolder&) = delete;
    DataFolder& operator=(const DataFolder&) = delete;
    ~DataFolder();

    /// Makes the folder when it is not there, for its owner's eyes only, and opens the database in
    /// it. Who may read the folders above it and the files is for the process's umask to say.
    /// False, with a sentence for people in `error`, when another service holds it or it cannot be
    /// used; nothing in it is changed then. Once.
    bool open(const std::string& folder, std::string& error);

    /// Once opened.
    Database& database() { return *m_database; }

  private:
    int m_lock = -1; // an open file; the system lets go of it with the process, however that ends
    std::unique_ptr<Database> m_database;
};
