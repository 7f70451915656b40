#include "server/store/sql_connection.h"

#include <charconv>

namespace trelvis::server {

const SqlValue& SqlRow::at(std::size_t column) const {
  if (column >= values_.size()) throw StoreError("result has no column " + std::to_string(column));
  return values_[column];
}

bool SqlRow::isNull(std::size_t column) const {
  return std::holds_alternative<std::nullptr_t>(at(column));
}

int64_t SqlRow::integer(std::size_t column) const {
  const SqlValue& value = at(column);
  if (const auto* number = std::get_if<int64_t>(&value)) return *number;
  // PostgreSQL sends every value as text.
  if (const auto* text = std::get_if<std::string>(&value)) {
    int64_t number = 0;
    const char* end = text->data() + text->size();
    const auto [stop, error] = std::from_chars(text->data(), end, number);
    if (error == std::errc() && stop == end) return number;
  }
  throw StoreError("column " + std::to_string(column) + " is not an integer");
}

std::optional<int64_t> SqlRow::optionalInteger(std::size_t column) const {
  if (isNull(column)) return std::nullopt;
  return integer(column);
}

std::string SqlRow::text(std::size_t column) const {
  const SqlValue& value = at(column);
  if (const auto* text = std::get_if<std::string>(&value)) return *text;
  if (const auto* number = std::get_if<int64_t>(&value)) return std::to_string(*number);
  throw StoreError("column " + std::to_string(column) + " is null");
}

std::optional<std::string> SqlRow::optionalText(std::size_t column) const {
  if (isNull(column)) return std::nullopt;
  return text(column);
}

}  // namespace trelvis::server
