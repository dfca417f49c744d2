// Where benchmarks and load have their catalogue.
#pragma once

#include <string>

/// A catalogue in a new folder beneath the current one (on the disk, where the temporary folder of
/// many systems is not), named to the library by the environment; gone at its end.
class Place {
public:
  Place();
  ~Place();
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

  const std::string& folder() const { return m_folder; }

  /// Has volumes lie in a tape directory of their own, or, as in the beginning, in the catalogue's.
  void configureTapes(bool isApart) const;

  /// Waits until the configuration is as old as it is in the field: the platform reads one that was
  /// just written again in each call.
  static void waitForConfiguration();

private:
  std::string m_folder;
};
