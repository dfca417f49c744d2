// The catalogue directory of the benchmarks and the load program.
#pragma once

#include <string>

/// A new folder for a catalogue, configured with an environment variable and removed by the
/// destructor. It is in the current folder, because the temporary folder of many systems is not on
/// a disk.
class Place {
public:
  Place();
  ~Place();
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

  const std::string& folder() const { return m_folder; }

  /// Configures a tape directory for the volumes (`isApart` true), or none. Initially there is
  /// none.
  void configureTapes(bool isApart) const;

  /// Waits until the configuration file is old enough to be cached: the platform reads a new file
  /// again in each call.
  static void waitForConfiguration();

private:
  std::string m_folder;
};
