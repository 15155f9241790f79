#pragma once

namespace quenlofar {

/// A JSON document on one line, or indented for people.
enum class JsonLayout { Line, Indented };

} // namespace quenlofar
