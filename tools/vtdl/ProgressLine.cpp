#include "ProgressLine.h"

#include <algorithm>

#include "Values.h"

namespace vtdl::host {

std::string ProgressLine(std::string_view source, long percent, std::string_view statusText) {
    constexpr std::size_t barWidth = 25, lineWidth = 78;
    const auto done = static_cast<std::size_t>(std::clamp(percent, 0L, 100L));
    std::string number = std::to_string(done);
    number.insert(0, 3 - number.size(), ' ');
    const std::size_t filled = done * barWidth / 100;
    std::string line(source);
    line.append(" [").append(filled, '#').append(barWidth - filled, '.').append("] ");
    line.append(number).append("%");
    if (!statusText.empty()) line.append(" ").append(Printable(statusText));
    line.resize(std::min(line.size(), lineWidth));
    return line;
}

}  // namespace vtdl::host
