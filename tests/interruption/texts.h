// The helper's words that more than one part of the exploration waits for.
#pragma once

namespace interruption {

inline constexpr const char* kInstalled = "Atualizacao instalada.";
inline constexpr const char* kRestored = "Versao anterior restaurada. Tente atualizar novamente quando desejar.";
inline constexpr const char* kNoFile = "Destino de download existente nao e um arquivo regular.";
inline constexpr const char* kLocal = "Falha local no atualizador. Seus arquivos de recuperacao foram preservados.";
inline constexpr const char* kUnverified = "Arquivo local nao pode ser verificado.";
inline constexpr const char* kStagedDiffers = "Arquivo preparado nao confere antes da instalacao.";
inline constexpr const char* kChanged = "Cliente mudou durante o download; nenhuma alteracao aplicada.";
inline constexpr const char* kFinalCheck = "Verificacao final do arquivo instalado falhou.";
inline constexpr const char* kNewAltered = "Arquivo novo alterado externamente; recuperacao interrompida.";
inline constexpr const char* kAltered = "Arquivo alterado externamente; recuperacao interrompida.";
inline constexpr const char* kBackupDiffers = "Backup de recuperacao nao confere.";
inline constexpr const char* kNoBackup = "Arquivo anterior sem backup valido.";

}  // namespace interruption
