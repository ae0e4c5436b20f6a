#pragma once
// Which types may be moved to another place by copying their bytes, the place they came from then
// being raw memory: all that do not know their own address. The hash collection (HashMap2018.h)
// grows faster by it.

#include <type_traits>

namespace Velo {

// To be specialised beside types that allow it and are not trivially copyable.
template <class T>
inline constexpr bool isRelocatable = std::is_trivially_copyable_v<T>;

}  // namespace Velo
