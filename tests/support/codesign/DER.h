#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/Bytes.h"

/// Writes ASN.1 (X.690) piece by piece, so that a test decides about order, length form and every byte.
namespace brindlewick::testing::der {

using Time = std::chrono::system_clock::time_point;

/// How lengths are written: DER always knows them, BER may leave them open and end with two zero bytes.
enum class Length { definite, indefinite };

[[nodiscard]] Bytes join(const std::vector<Bytes>& elements);
[[nodiscard]] Bytes element(std::uint8_t tag, ByteView content, Length length = Length::definite);
[[nodiscard]] Bytes sequence(const std::vector<Bytes>& elements, Length length = Length::definite);
/// The elements in the order given.
[[nodiscard]] Bytes set(const std::vector<Bytes>& elements);
/// The elements in the order of DER.
[[nodiscard]] std::vector<Bytes> sorted(std::vector<Bytes> elements);
/// A constructed, context-specific element.
[[nodiscard]] Bytes context(unsigned number, ByteView content, Length length = Length::definite);

[[nodiscard]] Bytes integer(std::uint64_t value);
[[nodiscard]] Bytes octets(ByteView content);
[[nodiscard]] Bytes null();
[[nodiscard]] Bytes utf8(std::string_view text);
/// "1.2.840.113635" as an object identifier.
[[nodiscard]] Bytes oid(std::string_view dotted);
/// An AlgorithmIdentifier with the parameter NULL.
[[nodiscard]] Bytes algorithm(std::string_view dotted);
[[nodiscard]] Bytes utcTime(Time time);
[[nodiscard]] Bytes generalizedTime(Time time);

}  // namespace brindlewick::testing::der
