#include "throwntext_p.h"

#include <new>
#include <stdexcept>

namespace quenlofar {

ThrownText thrownText(const std::exception_ptr &exception)
{
    try {
        std::rethrow_exception(exception);
    } catch (const std::bad_alloc &) {
        return {true, QStringLiteral("not enough memory")}; // a literal takes none
    } catch (const std::length_error &thrown) {
        return {true, QString::fromLocal8Bit(thrown.what())};
    } catch (const std::exception &thrown) {
        return {false, QString::fromLocal8Bit(thrown.what())};
    } catch (...) {
        return {false, QStringLiteral("it threw something other than std::exception")};
    }
}

} // namespace quenlofar
