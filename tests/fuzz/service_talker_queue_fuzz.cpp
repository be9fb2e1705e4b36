// Fuzzes a talker's queue: packets of any size in any order, some lost, between ticks.
#include "fuzz/require.h"

#include "service/voice/talker_queue.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

// Three bytes a step: ticks or a packet, its length, and where its number lies.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    TalkerQueue queue;
    SequenceWindow received(0xFFFFFFF0); // wraps soon
    std::uint32_t newest = 0xFFFFFFF0;
    std::array<std::int16_t, 2 * k_block_samples> samples;
    samples.fill(20000);
    for (std::size_t i = 0; i + 2 < size; i += 3) {
        const std::size_t before = queue.queued_frames();
        if (data[i] < 100) {
            AudioBlock block;
            const bool heard = queue.pull(received, block);
            require(queue.queued_frames() <= before);
            if (!heard) {
                for (const std::int16_t sample : block) {
                    require(sample == 0);
                }
            }
        } else {
            const std::uint32_t sequence =
                newest + data[i + 2] % 8 - (data[i + 2] >> 5 == 7 ? 70 : data[i + 2] >> 5);
            const std::size_t count = data[i + 1] * std::size_t{data[i] % 9U};
            if (received.accept(sequence)) {
                queue.push(sequence, std::span(samples).first(std::min(count, samples.size())));
            } else if (data[i] % 2 == 0) {
                queue.push(sequence, std::span(samples).first(std::min(count, samples.size())));
            }
            if (sequence_after(sequence, newest) > 0) {
                newest = sequence;
            }
        }
        require(queue.queued_frames() <= k_queue_max_frames);
    }
    return 0;
}
