// The exception of the linear algebra library: a message and the place of its origin.
#pragma once

#include <QString>
#include <stdexcept>

class VException : public std::runtime_error {
public:
  VException(const QString& message, const QString& location)
      : std::runtime_error(message.toStdString()), location_(location) {}
  ~VException() override = default;

  virtual const QString& location() const { return location_; }

private:
  QString location_;
};
