#include "app/Sheet.h"

#include <algorithm>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "app/Errors.h"
#include "app/Interrupt.h"
#include "app/PictureIO.h"
#include "app/Render.h"
#include "app/Text.h"

namespace kelo {

namespace {

constexpr double kColumns[] = {0.0, 0.25, 0.5, 0.75, 1.0};
constexpr int kGap = 8;

cv::Mat Wrap(const PixelView& view) {
  return cv::Mat(static_cast<int>(view.height), static_cast<int>(view.width), CV_8UC3, view.first,
                 static_cast<std::size_t>(view.stride));
}

void Text(cv::Mat& sheet, const std::string& text, cv::Point origin, double scale, int maxWidth) {
  int baseline = 0;
  const int font = cv::FONT_HERSHEY_SIMPLEX;
  const cv::Size size = cv::getTextSize(text, font, scale, 1, &baseline);
  // Long names shrink to fit their column.
  if (size.width > maxWidth) scale *= static_cast<double>(maxWidth) / size.width;
  cv::putText(sheet, text, origin, font, scale, cv::Scalar(235, 235, 235), 1, cv::LINE_AA);
}

// The sheet's layout: a label column, then a column per progress; a header row, then a row per
// transition; gaps between.
constexpr int kLabelWidth = 200, kHeader = 30;
long long SheetWidth(Size cell) {
  return std::max<long long>(kLabelWidth, cell.width) +
         static_cast<long long>(std::size(kColumns)) * (cell.width + kGap) + kGap;
}
long long SheetHeight(Size cell, std::size_t rows) {
  return kHeader + static_cast<long long>(rows) * (cell.height + kGap) + kGap;
}

}  // namespace

void CheckSheetSize(Size cell, std::size_t rows) {
  const long long width = SheetWidth(cell), height = SheetHeight(cell, rows);
  if (width * height > kMaxSheetPixels)
    throw AppError(kExitUsage, "the contact sheet would be " + std::to_string(width) + "x" +
                                   std::to_string(height) + " pixels (at most " +
                                   std::to_string(kMaxSheetPixels) +
                                   " in all): use a smaller --cell or fewer transitions");
}

std::vector<std::string> RenderSheet(const Host& host, const std::vector<std::wstring>& names,
                                     ICIF* from, ICIF* to, const std::filesystem::path& output,
                                     ProgressBar* progress) {
  const Size cell = PictureSize(to);
  CheckSheetSize(cell, names.size());
  const int cellWidth = static_cast<int>(cell.width), cellHeight = static_cast<int>(cell.height);
  const int labelWidth = std::max(kLabelWidth, cellWidth);
  const int header = kHeader;
  const int width = static_cast<int>(SheetWidth(cell));
  const int height = static_cast<int>(SheetHeight(cell, names.size()));
  cv::Mat sheet(height, width, CV_8UC3, cv::Scalar(38, 38, 42));
  for (std::size_t c = 0; c < std::size(kColumns); ++c) {
    char title[16];
    std::snprintf(title, sizeof title, "%g", kColumns[c]);
    Text(sheet, title,
         {labelWidth + kGap + static_cast<int>(c) * (cellWidth + kGap) + cellWidth / 2 - 12,
          header - 10},
         0.6, cellWidth);
  }

  std::vector<std::string> failures;
  for (std::size_t row = 0; row < names.size(); ++row) {
    ThrowIfInterrupted();
    const std::string name = kelo_text::Utf8FromWide(names[row]);
    const int top = header + static_cast<int>(row) * (cellHeight + kGap);
    Text(sheet, name, {kGap, top + cellHeight / 2 + 6}, 0.6, labelWidth - 2 * kGap);
    for (std::size_t c = 0; c < std::size(kColumns); ++c) {
      const cv::Rect place(labelWidth + kGap + static_cast<int>(c) * (cellWidth + kGap), top,
                           cellWidth, cellHeight);
      try {
        // A fresh effect per cell: each picture is what a host gets at that moment.
        auto effect = host.CreateTransition(names[row]);
        if (!effect) throw AppError(kExitFailure, name + " could not be created");
        auto frame = RenderFrame(effect.Get(), name, from, to, kColumns[c]);
        Wrap(View(frame.Get())).copyTo(sheet(place));
      } catch (const AppError& error) {
        cv::rectangle(sheet, place, cv::Scalar(90, 30, 30), cv::FILLED);
        Text(sheet, "failed", {place.x + 8, place.y + cellHeight / 2}, 0.6, cellWidth - 16);
        if (failures.empty() || failures.back() != error.what()) failures.push_back(error.what());
        break;
      }
    }
    if (progress != nullptr) progress->Advance(1);
  }
  if (progress != nullptr) progress->Close();
  PixelView view{
      static_cast<unsigned>(width), static_cast<unsigned>(height), 24, kFormatRGB, sheet.data,
      static_cast<int>(sheet.step)};
  SavePng(output, view);
  return failures;
}

}  // namespace kelo
