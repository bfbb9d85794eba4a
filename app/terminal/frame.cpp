#include "app/terminal/frame.h"

namespace tidra {

std::string Frame::line(std::size_t row) const {
  std::string text;
  for (std::size_t column = 0; column < size_.columns; ++column) text += at(row, column).text;
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

std::string Frame::text() const {
  std::string text;
  for (std::size_t row = 0; row < size_.rows; ++row) text += line(row) + '\n';
  return text;
}

}  // namespace tidra
