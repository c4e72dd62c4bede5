/* SPDX-License-Identifier: MIT */
/*
 * The floor of a chart: reads the picture TEMPLATE_FILE and writes it to standard output after
 * RESPONSE_HEADERS, with giflib alone. It draws nothing and checks nothing.
 */
#include <fcntl.h>
#include <gif_lib.h>
#include <unistd.h>

static const char headers[] = RESPONSE_HEADERS;

int main(void) {
  int error;
  int template = open(TEMPLATE_FILE, O_RDONLY);
  GifFileType* input = template <0 ? NULL : DGifOpenFileHandle(template, &error);
  if (input == NULL || DGifSlurp(input) == GIF_ERROR) return 1;
  if (write(STDOUT_FILENO, headers, sizeof headers - 1) != sizeof headers - 1) return 1;
  GifFileType* output = EGifOpenFileHandle(STDOUT_FILENO, &error);
  if (output == NULL) return 1;
  output->SWidth = input->SWidth;
  output->SHeight = input->SHeight;
  output->SColorResolution = input->SColorResolution;
  output->SBackGroundColor = input->SBackGroundColor;
  output->SColorMap = input->SColorMap;
  output->ImageCount = input->ImageCount;
  output->SavedImages = input->SavedImages;
  return EGifSpew(output) == GIF_OK ? 0 : 1;
}
