<?php
// The update endpoint for players: finds what a request asks for in the tree that vandrel-release makes, and lets the
// web server send it (X-Accel-Redirect). README.md beside it is the contract. VANDREL_TREE names the tree.
//
// No manifest is read for a download: a release's folder holds the files of its manifest and nothing else, is written
// by the tool alone, gets its name by one rename when it is whole, and never changes. So a file is listed if it stands
// there under exactly this path, without an empty, "." or ".." component, on a file system that minds case. A link is
// for the web server to refuse, when it opens the file.
declare(strict_types=1);

const ENDPOINT = '/client-brd/updater.php';
const MEMBERS = ['manifest' => ['action', 'arch'], 'download' => ['action', 'arch', 'release', 'file']];

// Ends the request with a status alone.
function refuse(int $status): never
{
    http_response_code($status);
    exit;
}

// Ends the request with a file of the tree, whole.
function send(string $path): never
{
    header('X-Accel-Redirect: /64/' . implode('/', array_map('rawurlencode', explode('/', $path))));
    exit;
}

// The members of a query, decoded ("+" is a plus); null if one has no "=" or a broken escape, or a name comes twice.
// Not $_GET, which changes names, takes "+" for a blank and lets the last of two count.
function members(string $query): ?array
{
    $members = [];
    foreach (explode('&', $query) as $member) {
        $parts = explode('=', $member, 2);
        if (count($parts) !== 2 || preg_match('/%(?![0-9A-Fa-f]{2})/', $member)) {
            return null;
        }
        [$name, $value] = array_map('rawurldecode', $parts);
        if (array_key_exists($name, $members)) {
            return null;
        }
        $members[$name] = $value;
    }
    return $members;
}

// 1 to 4294967295 in plain decimal.
function is_release_number(string $text): bool
{
    return preg_match('/^[1-9][0-9]{0,9}$/D', $text) === 1 && (int) $text <= 0xFFFFFFFF;
}

function send_manifest(string $channel): never
{
    if (!file_exists("$channel/current")) {
        refuse(404);  // nothing is published
    }
    $release = preg_replace('/\n$/D', '', (string) @file_get_contents("$channel/current"));
    $manifest = "releases/$release/manifest.bin";
    if (!is_release_number($release) || !is_file("$channel/$manifest")) {
        refuse(500);
    }
    send($manifest);
}

function send_file(string $channel, string $release, string $file): never
{
    $path = "releases/$release/files/$file";
    if (preg_match('#(^|/)\.{0,2}/#', $file) || !is_file("$channel/$path")) {
        refuse(404);
    }
    send($path);
}

header('Content-Type: application/octet-stream');
$target = explode('?', $_SERVER['REQUEST_URI']);
if ($target[0] !== ENDPOINT || !in_array($_SERVER['REQUEST_METHOD'], ['GET', 'HEAD'], true)) {
    refuse(404);
}
if (isset($_SERVER['HTTP_RANGE'])) {
    refuse(416);
}
$members = count($target) === 2 ? members($target[1]) : null;
$action = $members['action'] ?? refuse(400);
$expected = MEMBERS[$action] ?? refuse(404);
if (count($members) !== count($expected) || array_diff($expected, array_keys($members))) {
    refuse(400);
}
if ($action === 'download' && !is_release_number($members['release'])) {
    refuse(400);
}
if ($members['arch'] !== '64') {
    refuse(404);
}
$channel = $_SERVER['VANDREL_TREE'] . '/64';
$action === 'manifest' ? send_manifest($channel) : send_file($channel, $members['release'], $members['file']);
