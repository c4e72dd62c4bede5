// SPDX-License-Identifier: MIT
//
// The status images: bar charts of the device's values, drawn into a GIF template and written to
// standard output. Errors go to the system log; the response is then an image without bars, a cut
// one or none.
#pragma once

#include <cstdint>
#include <string>

#include "image/Chart.h"

struct GifFileType;

class ImageGenerator {
 public:
  virtual ~ImageGenerator() = default;

  // Writes the chart of the output power, or of the signal-to-noise ratio towards the station with
  // that address, drawn into the GIF file at `templatePath`. The headers must have been written.
  // Without values, all bars have the height 0.
  void MakeImagePower(const std::string& templatePath) const;
  void MakeImageSNR(const std::string& templatePath, const std::string& macAddress) const;

  // Draws the bars into the first saved image, and cuts them off at its edge.
  void ModifyImagePower(GifFileType* image, const Chart::Values<std::uint32_t>& values) const;
  void ModifyImageSNR(GifFileType* image, const Chart::Values<double>& values) const;

 private:
  // The last index of that colour in the image's global palette; -1 if the palette lacks it.
  static int FindColorIndex(const GifFileType* image, int red, int green, int blue);

  template <class Value>
  static void DrawBars(GifFileType* image, const Chart::Values<Value>& values,
                       int (*height)(double));
};
