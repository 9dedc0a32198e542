#include "src/frame/session.h"

namespace tessit {

Session session;

} // namespace tessit
