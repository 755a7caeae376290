#pragma once

namespace host {

/// Diagnostic memory hook of the host, called by the AVO engine between its stages. Hosts without such a hook leave
/// the status word as it is. Callable from any thread.
///
/// @param[in,out] status  status word of the caller; nobody examines it
void mem_check(int& status) noexcept;

}  // namespace host
