#include "QuillfernGW/LineSplitter.h"

namespace Qfn {

bool LineSplitter::append(const char* data, size_t size, std::vector<std::string>& lines)
{
    for (size_t index = 0; index < size; ++index) {
        const char c = data[index];
        if (c == '\r') {
            if (!fPending.empty()) {
                lines.push_back(std::move(fPending));
                fPending.clear();
            }
        } else if (c != '\n' && c != '\0') {
            fPending.push_back(c);
        }
    }
    return fPending.size() <= kMaxLineBytes;
}

}  // namespace Qfn
