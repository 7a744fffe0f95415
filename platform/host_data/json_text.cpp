#include "platform/host_data/json_text.h"

#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace host_data::json_text {

void appendString(std::string& out, std::string_view text) {
  out.push_back('"');
  for (char c : text) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char buf[8];
          std::snprintf(buf, sizeof buf, "\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(c)));
          out += buf;
        } else {
          out.push_back(c);
        }
    }
  }
  out.push_back('"');
}

namespace {

template <class Real>
bool appendReal(std::string& out, Real value) {
  if (!std::isfinite(value)) return false;
  char buf[64];
  auto [end, ec] = std::to_chars(buf, buf + sizeof buf, value);
  if (ec != std::errc()) return false;
  std::string_view digits(buf, static_cast<std::size_t>(end - buf));
  out += digits;
  if (digits.find_first_of(".eE") == std::string_view::npos) out += ".0";
  return true;
}

}  // namespace

bool appendDouble(std::string& out, double value) { return appendReal(out, value); }

bool appendTypedValue(std::string& out, const foundation::variant_t& value) {
  using foundation::variant_t;
  switch (value.type()) {
    case variant_t::t_i64: out += std::to_string(value.as_i64()); return true;
    case variant_t::t_f64: return appendDouble(out, value.as_double());
    case variant_t::t_bool: out += value.as_bool() ? "true" : "false"; return true;
    case variant_t::t_text: appendString(out, value.text()); return true;
    case variant_t::t_empty: return false;
    default: break;
  }
  std::string body;
  if (value.is_integer()) {
    body = value.is_signed_integer() ? std::to_string(value.as_i64()) : std::to_string(value.as_u64());
  } else if (value.type() == variant_t::t_f32) {
    if (!appendReal(body, static_cast<float>(value.as_double()))) return false;
  } else {
    return false;
  }
  out += "{\"";
  out += variant_t::type_name(value.type());
  out += "\": ";
  out += body;
  out += "}";
  return true;
}

AtomicFileWriter::AtomicFileWriter(std::string path)
    : path_(std::move(path)), temporary_(path_ + ".tmp-" + std::to_string(::getpid())) {}

AtomicFileWriter::~AtomicFileWriter() { discard(); }

void AtomicFileWriter::discard() {
  if (!file_) return;
  std::fclose(file_);
  file_ = nullptr;
  std::remove(temporary_.c_str());
}

bool AtomicFileWriter::open(std::string& error) {
  discard();
  errno_ = 0;
  file_ = std::fopen(temporary_.c_str(), "wb");
  if (!file_) {
    error = temporary_ + ": " + std::strerror(errno);
    return false;
  }
  return true;
}

void AtomicFileWriter::write(std::string_view text) {
  if (!file_ || errno_ != 0) return;
  if (std::fwrite(text.data(), 1, text.size(), file_) != text.size()) errno_ = errno ? errno : EIO;
}

bool AtomicFileWriter::commit(std::string& error) {
  if (!file_) {
    error = temporary_ + ": not open";
    return false;
  }
  if (std::fclose(file_) != 0 && errno_ == 0) errno_ = errno ? errno : EIO;
  file_ = nullptr;
  if (errno_ != 0) {
    error = temporary_ + ": " + std::strerror(errno_);
    std::remove(temporary_.c_str());
    return false;
  }
  if (std::rename(temporary_.c_str(), path_.c_str()) != 0) {
    error = path_ + ": " + std::strerror(errno);
    std::remove(temporary_.c_str());
    return false;
  }
  return true;
}

}  // namespace host_data::json_text
