#include "fleet/hub/demo/demo_catalog.h"

#include <array>

namespace tidra {
namespace {

constexpr auto safe = ArtifactSafetyTier::safe;
constexpr auto caution = ArtifactSafetyTier::caution;
constexpr auto warning = ArtifactSafetyTier::warning;

constexpr std::array macFindings{
    DemoFinding{"~/Developer/{}/node_modules", "node_modules", "npm", safe, "node_modules", 5},
    DemoFinding{"~/Developer/{}/node_modules", "node_modules", "npm", safe, "node_modules", 3},
    DemoFinding{"~/Developer/{}/.next", ".next", "npm", safe, "next", 1.5},
    DemoFinding{"~/Developer/{}/Pods", "Pods", "swift", safe, "pods", 2},
    DemoFinding{"~/Developer/{}/.build", ".build", "swift", safe, "spm-build", 2.5},
    DemoFinding{"~/Developer/{}/.venv", ".venv", "py", safe, "dot-venv", 2},
    DemoFinding{"~/Developer/{}/target", "target/", "general", safe, "target", 6},
    DemoFinding{"~/Library/Developer/Xcode/DerivedData", "DerivedData", "xcode", safe, "xcode-derived-data", 14},
    DemoFinding{"~/Library/Developer/Xcode/iOS DeviceSupport", "iOS DeviceSupport", "xcode", caution,
                "xcode-device-support", 8},
    DemoFinding{"~/Library/Caches/Homebrew", "Homebrew cache", "homebrew", safe, "homebrew-cache", 2},
    DemoFinding{"~/.npm/_cacache", "npm cache", "globalCaches", safe, "npm-cache", 3},
    DemoFinding{"~/.gradle/caches", "Gradle caches", "globalCaches", safe, "gradle-caches", 4},
    DemoFinding{"docker:prune:buildcache", "Docker build cache", "docker", safe, "", 7},
    DemoFinding{"~/.ollama/models", "Ollama models", "aiTools", safe, "ollama-models", 16},
    DemoFinding{"~/.cache/huggingface/hub", "Hugging Face models", "aiTools", safe, "hf-hub", 6},
    DemoFinding{"~/.claude/file-history", "Claude Code file checkpoints", "aiTools", warning, "claude-file-history", 1},
    DemoFinding{"~/.codex/sessions", "Codex sessions", "aiTools", warning, "codex-sessions", 0.8},
};

constexpr std::array linuxFindings{
    DemoFinding{"~/src/{}/node_modules", "node_modules", "npm", safe, "node_modules", 5},
    DemoFinding{"~/src/{}/node_modules", "node_modules", "npm", safe, "node_modules", 2},
    DemoFinding{"~/src/{}/target", "target/", "general", safe, "target", 9},
    DemoFinding{"~/src/{}/build", "build", "general", safe, "build", 4},
    DemoFinding{"~/src/{}/.venv", ".venv", "py", safe, "dot-venv", 3},
    DemoFinding{"~/src/{}/.terraform", ".terraform", "general", caution, "terraform", 1},
    DemoFinding{"~/.cache/go-build", "Go build cache", "globalCaches", safe, "go-build-cache", 4},
    DemoFinding{"~/go/pkg/mod", "Go module cache", "globalCaches", safe, "go-mod-cache", 3},
    DemoFinding{"~/.cargo/registry", "Cargo registry", "globalCaches", safe, "cargo-registry", 3},
    DemoFinding{"~/.cache/pip", "pip cache", "globalCaches", safe, "pip-cache", 2},
    DemoFinding{"~/.cache/uv", "uv cache", "globalCaches", safe, "uv-cache", 3},
    DemoFinding{"~/.m2/repository", "Maven local repository", "globalCaches", caution, "maven-repository", 2},
    DemoFinding{"~/.pyenv/versions", "pyenv versions", "python", caution, "pyenv-versions", 1.5},
    DemoFinding{"docker:prune:buildcache", "Docker build cache", "docker", safe, "", 9},
    DemoFinding{"~/.cache/ms-playwright/chromium-1148", "Playwright browsers", "aiTools", safe, "playwright-browsers",
                1},
    DemoFinding{"~/.local/share/Trash/files", "Trash", "agentHost", caution, "xdg-trash", 1},
};

constexpr std::array runnerFindings{
    DemoFinding{"~/work/{}/node_modules", "node_modules", "npm", safe, "node_modules", 5},
    DemoFinding{"~/work/{}/node_modules", "node_modules", "npm", safe, "node_modules", 4},
    DemoFinding{"~/work/{}/target", "target/", "general", safe, "target", 8},
    DemoFinding{"~/work/{}/dist", "dist", "npm", safe, "dist", 1},
    DemoFinding{"~/work/{}/.gradle", ".gradle", "java", safe, "gradle-project", 1},
    DemoFinding{"~/work/{}/coverage", "coverage", "general", safe, "coverage", 0.5},
    DemoFinding{"~/.gradle/caches", "Gradle caches", "globalCaches", safe, "gradle-caches", 6},
    DemoFinding{"~/.cache/ccache", "ccache", "globalCaches", safe, "ccache", 5},
    DemoFinding{"~/.local/share/pnpm/store", "pnpm store", "globalCaches", safe, "pnpm-store", 6},
    DemoFinding{"docker:prune:buildcache", "Docker build cache", "docker", safe, "", 20},
    DemoFinding{"~/.nuget/packages", "NuGet packages", "globalCaches", safe, "nuget-packages", 2},
};

constexpr std::array agentFindings{
    DemoFinding{"~/workspaces/{}/node_modules", "node_modules", "npm", safe, "node_modules", 6},
    DemoFinding{"~/workspaces/{}/node_modules", "node_modules", "npm", safe, "node_modules", 5},
    DemoFinding{"~/workspaces/{}/target", "target/", "general", safe, "target", 6},
    DemoFinding{"~/workspaces/{}/.chroma", ".chroma", "ai", caution, "chroma", 1},
    DemoFinding{"/tmp/claude-1000", "Claude Code scratch files", "agentHost", safe, "claude-scratch-tmp", 4},
    DemoFinding{"~/.claude/debug", "Claude Code debug logs", "aiTools", safe, "claude-debug", 2},
    DemoFinding{"~/.claude/file-history", "Claude Code file checkpoints", "aiTools", warning, "claude-file-history", 3},
    DemoFinding{"~/.codex/log", "Codex logs", "aiTools", safe, "codex-logs", 1},
    DemoFinding{"~/.codex/sessions", "Codex sessions", "aiTools", warning, "codex-sessions", 2},
    DemoFinding{"~/.openclaw/logs", "OpenClaw logs", "agentHost", caution, "openclaw-logs", 1},
    DemoFinding{"~/.npm/_npx", "npx cache", "aiTools", safe, "npx-cache", 3},
    DemoFinding{"~/.cache/uv", "uv cache", "globalCaches", safe, "uv-cache", 4},
};

constexpr std::array modelFindings{
    DemoFinding{"~/.cache/huggingface/hub", "Hugging Face models", "aiTools", safe, "hf-hub", 40},
    DemoFinding{"~/.cache/huggingface/datasets", "Hugging Face datasets", "aiTools", safe, "hf-datasets", 25},
    DemoFinding{"~/.cache/torch/hub", "PyTorch Hub cache", "aiTools", safe, "torch-hub", 4},
    DemoFinding{"~/.cache/vllm", "vLLM cache", "aiTools", safe, "vllm-cache", 6},
    DemoFinding{"~/experiments/{}/.venv", ".venv", "py", safe, "dot-venv", 5},
    DemoFinding{"~/experiments/{}/.venv", ".venv", "py", safe, "dot-venv", 4},
    DemoFinding{"~/experiments/{}/.lancedb", ".lancedb", "ai", caution, "lancedb", 3},
    DemoFinding{"conda:clean:packages", "Conda unused packages", "python", safe, "", 6},
    DemoFinding{"docker:prune:buildcache", "Docker build cache", "docker", safe, "", 12},
};

constexpr std::int64_t hour = 3600;
constexpr auto macOS = TidraPlatform::macOS;
constexpr auto linux = TidraPlatform::linux;

constexpr std::array kinds{
    DemoKind{"laptop", macOS, "developer", "{user}-mbp", "/Users/{user}", 24 * hour, 0.24, 3, 494, macFindings},
    DemoKind{"workstation", linux, "developer", "ws-{user}", "/home/{user}", 12 * hour, 0.16, 4, 476, linuxFindings},
    DemoKind{"ci", linux, "ci-runner", "ci-linux-{n}", "/home/runner", hour, 0.24, 40, 200, runnerFindings},
    DemoKind{"ci", macOS, "ci-runner", "ci-mac-{n}", "/Users/runner", hour, 0.06, 30, 494, macFindings},
    DemoKind{"agent-host", linux, "agent-host", "agent-{region}-{n}.int.example.net", "/home/agent", hour, 0.22, 25,
             160, agentFindings},
    DemoKind{"gpu", linux, "gpu-server", "gpu-{region}-{n}", "/home/{user}", 6 * hour, 0.08, 60, 1900, modelFindings},
};

constexpr std::array<std::string_view, 40> users{"anna", "jonas", "mei",   "lukas", "priya", "tom",   "sofia", "emre",
                                                 "olga", "ben",   "clara", "hugo",  "nina",  "omar",  "julia", "felix",
                                                 "aiko", "marco", "lena",  "david", "zoe",   "ivan",  "sara",  "paul",
                                                 "elif", "kofi",  "maya",  "noah",  "ines",  "leo",   "greta", "amir",
                                                 "hana", "oscar", "ruth",  "mateo", "freya", "samir", "linda", "yusuf"};
constexpr std::array<std::string_view, 18> projects{
    "web-shop",     "billing-api",  "mobile-app",    "design-system", "search-indexer", "data-pipeline",
    "auth-service", "docs-site",    "admin-console", "infra",         "checkout",       "image-resizer",
    "ml-features",  "event-router", "playground",    "legacy-portal", "notebooks",      "release-tools"};
constexpr std::array<std::string_view, 5> regions{"fra", "dub", "iad", "pdx", "sin"};
constexpr std::array<std::string_view, 7> teams{"web", "mobile", "platform", "data", "payments", "research", "tools"};
constexpr std::array<std::string_view, 4> versions{"1.1.4", "1.2.0", "1.2.1", "1.3.0"};
constexpr std::array<std::string_view, 8> notes{"on loan to the design team until the summer",
                                                "disk upgrade is ordered",
                                                "reinstalled after the move, audit log begun anew",
                                                "owner on leave; do not wipe",
                                                "keeps its caches on purpose, see the build cookbook",
                                                "to be retired next quarter",
                                                "permissions of /home/runner/work are being looked into",
                                                "second NVMe holds the models"};

}  // namespace

std::span<const DemoKind> demoKinds() { return kinds; }
std::span<const std::string_view> demoUsers() { return users; }
std::span<const std::string_view> demoProjects() { return projects; }
std::span<const std::string_view> demoRegions() { return regions; }
std::span<const std::string_view> demoTeams() { return teams; }
std::span<const std::string_view> demoVersions() { return versions; }
std::span<const std::string_view> demoNotes() { return notes; }

}  // namespace tidra
