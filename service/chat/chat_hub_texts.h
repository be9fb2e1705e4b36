// What several frames are refused with. Shared by the files of the hub.
#pragma once

constexpr const char* k_failed = "El servicio no puede leer o guardar sus datos";
constexpr const char* k_no_session = "La sesión no es válida o ha caducado";
constexpr const char* k_other_session = "La sesión no es la de esta conexión";
constexpr const char* k_too_fast = "Demasiados mensajes en poco tiempo";
constexpr const char* k_too_many_follows = "Esta conexión ya sigue demasiadas cosas";
constexpr const char* k_no_member = "Ese espacio no existe o no perteneces a él";
constexpr const char* k_no_room = "Esa sala no existe o no perteneces a su espacio";
