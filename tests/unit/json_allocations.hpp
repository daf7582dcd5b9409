// Counts what the JSON library has allocated and not released, in the whole process.
#pragma once

/// Counts while it lives. One at a time.
class JsonAllocations {
  public:
    JsonAllocations();
    ~JsonAllocations();
    JsonAllocations(const JsonAllocations&) = delete;
    JsonAllocations& operator=(const JsonAllocations&) = delete;

    /// Blocks allocated less blocks released since the object was made.
    [[nodiscard]] int outstanding() const;
};
