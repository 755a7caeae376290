# npm_package(name version sha512): a package of the npm registry, unpacked into node_modules/name of the current build
# folder. The hash vouches for its content. Nothing of it is run.
function(npm_package name version sha512)
  set(modules ${CMAKE_CURRENT_BINARY_DIR}/node_modules)
  set(archive ${modules}/${name}-${version}.tgz)
  file(DOWNLOAD https://registry.npmjs.org/${name}/-/${name}-${version}.tgz ${archive} EXPECTED_HASH SHA512=${sha512})
  file(ARCHIVE_EXTRACT INPUT ${archive} DESTINATION ${modules})
  file(REMOVE_RECURSE ${modules}/${name})
  file(RENAME ${modules}/package ${modules}/${name})
endfunction()
